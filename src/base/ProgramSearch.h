// Programs on a search path such as PATH.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Base {

// Whether the path is a regular file that this process may execute.
bool isProgram(std::string const & path);

// The path of the name in each folder of the search path, in order, without a check that it exists. Skips
// empty and relative entries, which could run a program in the working directory.
std::vector<std::string> programsOnPath(std::string const & name, std::string_view searchPath);

// The first of these that is a program. A name with a slash stands for itself. Empty: there is none.
std::string findProgram(std::string const & name, std::string_view searchPath);

}  // namespace Base
