// A mount point of the state document in a word.
#pragma once

#include <rapidjson/fwd.h>

#include <string_view>

namespace Agent {

// "ok" and "failed" as the last test of its file system went, "testing" during one, "waiting" where one
// cannot begin without its folder, "stopped" where the mount is wrong, "unmounted" where none has been seen
// yet; empty for null and for what is no mount point.
std::string_view fileSystemWord(rapidjson::Value const * mountPoint);

}  // namespace Agent
