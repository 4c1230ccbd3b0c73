// A fixture whose framework time is virtual: the loop jumps from deadline to deadline.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <utility>

#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"

namespace Support {

class VirtualTimeTest : public testing::Test {
 protected:
   VirtualTimeTest() {
      auto source = std::make_unique<Vorn::Host::VirtualTime>();
      time = source.get();
      Vorn::Host::timeSourceIs(std::move(source));
   }
   ~VirtualTimeTest() override { Vorn::Host::timeSourceIs(nullptr); }

   // Runs the loop until the condition holds, for at most `span` of virtual time.
   static bool eventually(std::function<bool()> const & condition, Vorn::Seconds span = 600) {
      return Vorn::Host::runUntil(condition, Vorn::System::currentTime() + span);
   }

   // Changes UTC alone, like a correction of the wall clock.
   void wallClockJumpsBy(Vorn::Seconds span) {
      auto source = std::make_unique<Vorn::Host::VirtualTime>(Vorn::System::currentTime(),
                                                              Vorn::System::currentTimeUtc() + span);
      time = source.get();
      Vorn::Host::timeSourceIs(std::move(source));
   }

   Vorn::Host::VirtualTime * time;
};

}  // namespace Support
