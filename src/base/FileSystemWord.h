// A mount point of the state document in a word.
#pragma once

#include <rapidjson/fwd.h>

#include <string_view>

namespace Base {

// How the test of its file system goes: "testing" during one, "tested" between two, "waiting" where one
// cannot begin without its folder, "stopped" where the mount is wrong, "unmounted" where none has been seen
// yet. How a test ended is for the verdict to say. Empty for null and for what is no mount point.
std::string_view fileSystemWord(rapidjson::Value const * mountPoint);

}  // namespace Base
