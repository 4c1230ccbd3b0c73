#include "base/ProgramSearch.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace Base {

bool isProgram(std::string const & path) {
   struct stat status {};
   return access(path.c_str(), X_OK) == 0 && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

std::vector<std::string> programsOnPath(std::string const & name, std::string_view searchPath) {
   std::vector<std::string> programs;
   while (!searchPath.empty()) {
      std::size_t const colon = std::min(searchPath.find(':'), searchPath.size());
      std::string_view const folder = searchPath.substr(0, colon);
      searchPath.remove_prefix(std::min(colon + 1, searchPath.size()));
      if (folder.starts_with('/'))
         programs.push_back(std::string{folder}.append("/").append(name));
   }
   return programs;
}

std::string findProgram(std::string const & name, std::string_view searchPath) {
   if (name.empty() || name.find('/') != std::string::npos)
      return name;
   auto const programs = programsOnPath(name, searchPath);
   auto const found = std::find_if(programs.begin(), programs.end(), isProgram);
   return found == programs.end() ? std::string{} : *found;
}

}  // namespace Base
