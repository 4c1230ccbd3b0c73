// Finds programs that are installed with this one and that an operator does not call.
#pragma once

#include <filesystem>
#include <initializer_list>

namespace Base {

// The first of these paths that is a program; empty without one. They are relative to the folder. The build
// tree and an installed tree have different paths.
std::filesystem::path programBelow(std::filesystem::path const & folder,
                                   std::initializer_list<char const *> places);

// The same, relative to the folder of the running program.
std::filesystem::path companionProgram(std::initializer_list<char const *> places);

}  // namespace Base
