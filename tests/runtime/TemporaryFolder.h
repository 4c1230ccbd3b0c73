// A folder that goes with the test that made it.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace RuntimeTest {

class TemporaryFolder {
 public:
   TemporaryFolder() {
      std::string name = (std::filesystem::temp_directory_path() / "runtime-test-XXXXXX").string();
      path_ = mkdtemp(name.data());
   }
   TemporaryFolder(TemporaryFolder const &) = delete;
   TemporaryFolder & operator=(TemporaryFolder const &) = delete;
   ~TemporaryFolder() { std::filesystem::remove_all(path_); }

   std::string const & path() const { return path_; }

   // Writes a shell script; its path.
   std::string script(std::string const & name, std::string const & body, bool executable = true) const {
      std::string file = path_ + '/' + name;
      std::ofstream{file} << "#!/bin/sh\n" << body << '\n';
      using std::filesystem::perms;
      std::filesystem::permissions(file,
                                   executable ? perms::owner_all : perms::owner_read | perms::owner_write);
      return file;
   }

 private:
   std::string path_;
};

}  // namespace RuntimeTest
