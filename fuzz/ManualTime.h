// Framework time that only the target advances. Otherwise the loop runs as with real time: it waits for
// nothing.
#pragma once

#include <memory>

#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"

class ManualTime final : public Vorn::Host::TimeSource {
 public:
   // Becomes the process's source of time. Where others have set theirs since, another call sets it again.
   static ManualTime & installed() {
      auto source = std::make_unique<ManualTime>();
      ManualTime & time = *source;
      Vorn::Host::timeSourceIs(std::move(source));
      return time;
   }

   Vorn::Seconds now() override { return now_; }
   Vorn::Seconds utc() override { return now_ + 1795000000; }
   double realSecondsPerSecond() const override { return 1; }

   void passes(Vorn::Seconds span) { now_ = now_ + span; }

 private:
   Vorn::Seconds now_ = 1000;
};

// Turns until nothing is ready or due any more; false where the loop does not come to rest.
inline bool settles() {
   constexpr int mostTurns = 100000;
   for (int turns = 0; turns < mostTurns; ++turns)
      if (Vorn::Host::turn(0) == Vorn::Host::Turn::idle)
         return true;
   return false;
}
