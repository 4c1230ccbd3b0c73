// The state document as the table that `storagedevices status` shows.
#pragma once

#include <rapidjson/fwd.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace Command {

struct TableOptions {
   std::size_t width = 0;  // of the terminal in columns; 0: no limit
   bool colour = false;    // ANSI colours
};

// A headline, then a row per disk, ordered by mount point and device, or a sentence why there is none.
// Columns without values are left out, and so are the less important ones where the terminal is too narrow.
// `messages` is the array of log messages, oldest first; null counts as empty. Accepts any document: a member
// that is missing or of the wrong type is not shown. Texts from devices are escaped. The result is UTF-8, and
// its only control characters are line breaks and colours.
std::string statusTable(rapidjson::Value const & state, rapidjson::Value const * messages,
                        TableOptions const & options);

// The same from the agent's answers to /api/v1/state and /api/v1/messages; the latter may be empty.
// Raises std::runtime_error with one line for a text that is not JSON.
std::string statusTable(std::string_view state, std::string_view messages, TableOptions const & options);

}  // namespace Command
