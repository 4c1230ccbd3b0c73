// A mount point of the state document in a word.
#pragma once

#include <rapidjson/fwd.h>

#include <string_view>

namespace Base {

// The state of its file system test: "testing" during one, "tested" between two, "waiting" if one cannot
// begin without its folder. It is "stopped" if the mount is wrong, "unmounted" if none has been seen yet. The
// verdict has the result of the test. Empty for null and for any value that is no mount point.
std::string_view fileSystemWord(rapidjson::Value const * mountPoint);

}  // namespace Base
