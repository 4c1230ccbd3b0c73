// What the reactor thread is doing at one moment.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Vorn {

struct Activity {
   static constexpr std::size_t pathSize = 256;

   // In handlers. False: it waits for something to do, however long, or has not run a turn yet.
   bool busy = false;
   // Number of the turn that it is in, or was in last.
   std::uint64_t turn = 0;
   // When that turn's handlers began to be called, in `Host::monotonicSeconds()`.
   double since = 0;
   // The call that it is in, if it is in one that has a name (BlockingCall), and what that works on.
   char const * operation = nullptr;
   std::array<char, pathSize> pathText{};

   std::string_view path() const { return pathText.data(); }
};

}  // namespace Vorn
