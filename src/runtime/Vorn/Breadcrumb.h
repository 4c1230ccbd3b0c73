// The reactor thread's current activity. Only that thread writes it, any thread reads it: a sequence lock
// over atomics, so the writer never waits. Used by the poller, BlockingCall and Vorn::Host::activity.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "runtime/Export.h"
#include "runtime/Vorn/Activity.h"
#include "runtime/Vorn/Seconds.h"

namespace Vorn {

class VORN_API Breadcrumb {
 public:
   // The only one of the process. Never destroyed.
   static Breadcrumb & instance();

   constexpr Breadcrumb() = default;
   Breadcrumb(Breadcrumb const &) = delete;
   Breadcrumb & operator=(Breadcrumb const &) = delete;

   // The loop is about to wait for events; is about to call the handlers of a turn. The thread that calls
   // `beginTurn` is the only writer from then on.
   void beginWait();
   void beginTurn();

   // Enters a call; false, and nothing is written, on another thread than the writer's. After true, `leave`
   // must follow. `operation` must be a literal; of the path 255 bytes are kept.
   bool enter(char const * operation, std::string_view path);
   void leave();

   // A consistent copy. Any thread; it repeats while the writer writes, for nanoseconds as a rule.
   Activity read() const;

 private:
   // A call nested deeper is not published; the last of these stays visible.
   static constexpr std::size_t maxDepth = 4;
   using Word = std::uint64_t;
   struct Call {
      std::atomic<char const *> operation = nullptr;
      std::array<std::atomic<Word>, Activity::pathSize / sizeof(Word)> path{};  // ends with a NUL
   };

   template <class Change>
   void publish(Change const & change);
   Activity copy() const;

   std::atomic<Word> version_ = 0;  // odd during a change
   std::atomic<void const *> writer_ = nullptr;
   std::atomic<bool> busy_ = false;
   std::atomic<Word> turn_ = 0;
   std::atomic<Seconds> since_ = Seconds{};
   std::atomic<std::size_t> depth_ = 0;
   std::array<Call, maxDepth> calls_{};
};

}  // namespace Vorn
