// The library's messages for `journalctl -x`, in the format of systemd's message catalogues.
#pragma once

#include <span>
#include <string>

#include "runtime/Vorn/Log.h"

namespace Manual {

// An entry for each message: its text as subject, its explanation and what to do. `support` is where the
// appliance's maker helps, as a URI; empty: nowhere. Raises std::invalid_argument for a message that has no
// MESSAGE_ID.
std::string journalCatalogue(std::span<Vorn::LogDescriptor const> messages, std::string const & support);

}  // namespace Manual
