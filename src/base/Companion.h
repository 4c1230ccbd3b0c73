// Programs that come with this one and are not for an operator to call.
#pragma once

#include <filesystem>
#include <initializer_list>

namespace Agent {

// The first of these places that holds a program; they are relative to the folder of the one that runs. In
// the build tree it is another place than in an installed one. Empty when there is none.
std::filesystem::path companionProgram(std::initializer_list<char const *> places);

}  // namespace Agent
