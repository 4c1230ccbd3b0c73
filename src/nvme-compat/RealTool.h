// Finds and runs the real program behind this one on the search path.
#pragma once

#include <optional>
#include <string>

#include "base/UniqueFd.h"

namespace NvmeCompat {

// The first program `name` behind the last entry of `searchPath` that contains this very file, under any
// name. Without such an entry it is the first of all. So two copies of this program on one path never call
// each other in turn. Skips empty and relative entries. Empty: there is none.
std::string findRealTool(std::string const & name, std::string const & searchPath);

// A child with this process's arguments, standard input and error, group and environment.
class ToolRun {
 public:
   // Throws std::system_error when it cannot be started.
   ToolRun(std::string const & program, char ** argv);

   // Reads its standard output to the end, but `limit` bytes at most. Throws std::system_error.
   std::string output(std::size_t limit);
   // Copies the rest of its standard output to this process's own.
   void passOutput();
   // Waits for its end and ends this process in the same way, with its exit code or by its signal. `instead`
   // replaces an exit code of 0.
   [[noreturn]] void endAlike(int instead = 0);
   // Waits for its end. True for exit code 0.
   bool succeeded();

 private:
   int pid_ = -1;
   Base::UniqueFd output_;
   std::optional<int> status_;
};

// Writes the text to this process's standard output. Throws std::system_error.
void print(std::string const & text);

}  // namespace NvmeCompat
