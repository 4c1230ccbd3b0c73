// A tool that is a shell script of the test's own. It records its runs.
#pragma once

#include <fstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"

namespace Support {

class FakeTool {
 public:
   // In the folder, which must outlive this.
   FakeTool(TempDir const & folder, std::string name) : folder_{folder}, name_{std::move(name)} {}

   // The script's body.
   void does(std::string_view body) const {
      std::string const record = "for word in \"${0##*/}\" \"$@\"; do echo \"$word\"; done >>\"" +
                                 path("words") + "\"\necho \"${0##*/}\" \"$@\" >>\"" + path("runs") + "\"\n";
      folder_.writeScript(name_, record + std::string{body});
   }
   void prints(std::string_view output) const {
      folder_.write("output", output);
      does("cat \"" + path("output") + "\"");
   }

   // The command line of each run.
   std::vector<std::string> runs() const {
      std::vector<std::string> lines;
      std::ifstream file{path("runs")};
      for (std::string line; std::getline(file, line);)
         lines.push_back(line);
      return lines;
   }
   // Name and arguments of all runs, each on a line.
   std::string words() const { return folder_.content("words"); }

 private:
   std::string path(char const * file) const { return (folder_.path() / file).string(); }

   TempDir const & folder_;
   std::string name_;
};

}  // namespace Support
