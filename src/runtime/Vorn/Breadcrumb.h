// Where the reactor thread is, written by that thread alone and read by any: a sequence lock over atomics, so
// that neither ever waits for the other. Used by the poller, BlockingCall and Host::activity.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "runtime/Export.h"
#include "runtime/Vorn/Activity.h"

namespace Vorn {

class RUNTIME_API Breadcrumb {
 public:
   static Breadcrumb & instance();

   constexpr Breadcrumb() = default;
   Breadcrumb(Breadcrumb const &) = delete;
   Breadcrumb & operator=(Breadcrumb const &) = delete;

   // The calling thread, from now on the only writer, is about to wait; begins to call the handlers of a
   // turn.
   void beginWait();
   void beginTurn();

   // Enters a call; false, and nothing is written, on another thread than the writer's. What has entered
   // leaves.
   bool enter(char const * operation, std::string_view path);
   void leave();

   Activity read() const;

 private:
   // Calls deeper than this leave the innermost of these in sight.
   static constexpr std::size_t maxDepth = 4;
   using Word = std::uint64_t;
   struct Call {
      std::atomic<char const *> operation = nullptr;
      std::array<std::atomic<Word>, Activity::pathSize / sizeof(Word)> path{};  // ends with a NUL
   };

   template <class Change>
   void publish(Change const & change);
   Activity copy() const;

   std::atomic<Word> version_ = 0;  // odd while the writer is at it
   std::atomic<void const *> writer_ = nullptr;
   std::atomic<bool> busy_ = false;
   std::atomic<Word> turn_ = 0;
   std::atomic<double> since_ = 0;
   std::atomic<std::size_t> depth_ = 0;
   std::array<Call, maxDepth> calls_{};
};

}  // namespace Vorn
