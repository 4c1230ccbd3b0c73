#include "runtime/Vorn/Breadcrumb.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "runtime/Vorn/KernelClock.h"

namespace Vorn {

namespace {

static_assert(std::atomic<std::uint64_t>::is_always_lock_free && std::atomic<Seconds>::is_always_lock_free);

// Its address identifies the thread.
thread_local char const here = 0;

}  // namespace

Breadcrumb & Breadcrumb::instance() {
   static constinit Breadcrumb crumb;
   return crumb;
}

// Without fences, which ThreadSanitizer does not support. A reader that acquires a value released by a change
// also sees the odd version stored before that value.
template <class Change>
void Breadcrumb::publish(Change const & change) {
   Word const version = version_.load(std::memory_order_relaxed);
   version_.store(version + 1, std::memory_order_relaxed);
   change();
   version_.store(version + 2, std::memory_order_release);
}

void Breadcrumb::beginWait() {
   publish([this] { busy_.store(false, std::memory_order_release); });
}

void Breadcrumb::beginTurn() {
   // The coarse clock lags a few milliseconds, and is cheap even on machines with a slow fine clock.
   Seconds const now = kernelTime(CLOCK_MONOTONIC_COARSE);
   writer_.store(&here, std::memory_order_relaxed);
   publish([this, now] {
      busy_.store(true, std::memory_order_release);
      turn_.store(turn_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
      since_.store(now, std::memory_order_release);
   });
}

bool Breadcrumb::enter(char const * operation, std::string_view path) {
   if (writer_.load(std::memory_order_relaxed) != &here)
      return false;
   std::string_view const text = path.substr(0, Activity::pathSize - 1);
   std::size_t const depth = depth_.load(std::memory_order_relaxed);
   publish([&] {
      depth_.store(depth + 1, std::memory_order_release);
      if (depth >= maxDepth)
         return;
      Call & call = calls_[depth];
      call.operation.store(operation, std::memory_order_release);
      for (std::size_t at = 0; at <= text.size(); at += sizeof(Word)) {
         Word word = 0;
         text.copy(reinterpret_cast<char *>(&word), sizeof word, at);
         call.path[at / sizeof word].store(word, std::memory_order_release);
      }
   });
   return true;
}

void Breadcrumb::leave() {
   publish([this] { depth_.store(depth_.load(std::memory_order_relaxed) - 1, std::memory_order_release); });
}

Activity Breadcrumb::copy() const {
   Activity result;
   result.busy = busy_.load(std::memory_order_acquire);
   result.turn = turn_.load(std::memory_order_acquire);
   result.since = since_.load(std::memory_order_acquire);
   std::size_t const depth = std::min(depth_.load(std::memory_order_acquire), maxDepth);
   if (depth == 0)
      return result;
   Call const & call = calls_[depth - 1];
   result.operation = call.operation.load(std::memory_order_acquire);
   for (std::size_t i = 0; i < call.path.size(); ++i) {
      Word const word = call.path[i].load(std::memory_order_acquire);
      char * const part = result.pathText.data() + i * sizeof word;
      std::memcpy(part, &word, sizeof word);
      if (std::memchr(part, '\0', sizeof word))
         break;
   }
   return result;
}

Activity Breadcrumb::read() const {
   for (;;) {
      Word const before = version_.load(std::memory_order_acquire);
      if (before % 2 == 0) {
         Activity const result = copy();
         if (version_.load(std::memory_order_relaxed) == before)
            return result;
      }
      std::this_thread::yield();
   }
}

}  // namespace Vorn
