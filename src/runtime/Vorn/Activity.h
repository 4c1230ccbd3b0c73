// The reactor thread's activity at one moment.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "runtime/Vorn/Seconds.h"

namespace Vorn {

struct Activity {
   static constexpr std::size_t pathSize = 256;

   // Whether it runs handlers. False: it waits for events, or has not run a turn yet.
   bool busy = false;
   // The number of the current or latest turn.
   std::uint64_t turn = 0;
   // The begin of that turn's handlers, in `Vorn::Host::monotonicSeconds()`.
   Seconds since;
   // The named call (BlockingCall) in progress and its path; null: none.
   char const * operation = nullptr;
   std::array<char, pathSize> pathText{};

   // Bytes as the caller gave them, 255 at most; empty: it named none.
   std::string_view path() const { return pathText.data(); }
};

}  // namespace Vorn
