#include "runtime/Vorn/Clock.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/Vorn/ActivityManager.h"
#include "runtime/host/Failure.h"
#include "tests/support/VirtualTimeTest.h"

namespace {

using Vorn::Seconds;
using Vorn::System::currentTime;

// A machine with one clock that does what the test asks.
class Ringer {
 public:
   explicit Ringer(std::function<void()> atRing = {}) : then{std::move(atRing)} {}
   Ringer(Seconds first, std::function<void()> atRing) : then{std::move(atRing)} { clock.timeMinIs(first); }

   int rings = 0;
   std::function<void()> then;

 private:
   void handleClock() {
      ++rings;
      if (auto const next = then)
         next();
   }

 public:
   Vorn::Clock::Notifiee<&Ringer::handleClock> clock{*this};
};

class ClockTest : public Support::VirtualTimeTest {
 protected:
   static Seconds next() { return Vorn::activityManager().config()->clock()->nextTime(); }
};

TEST_F(ClockTest, CallsAtTheFirstTurnUnlessArmedOtherwise) {
   Ringer ringer;
   EXPECT_EQ(ringer.clock.timeMin(), Seconds{0});
   EXPECT_EQ(ringer.rings, 0);
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::worked);
   EXPECT_EQ(ringer.rings, 1);
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle) << "one request, one call";
   EXPECT_EQ(ringer.rings, 1);
}

TEST_F(ClockTest, NeverCallsAtInfinityOrAtATimeThatIsNoNumber) {
   Ringer never;
   never.clock.timeMinIs(Seconds::infinity());
   Ringer notANumber;
   notANumber.clock.timeMinIs(std::numeric_limits<double>::quiet_NaN());
   EXPECT_EQ(next(), Seconds::infinity());
   Vorn::Host::runFor(1e6);
   EXPECT_EQ(never.rings + notANumber.rings, 0);
   notANumber.clock.timeMinIs(currentTime());
   Vorn::Host::runFor(1);
   EXPECT_EQ(notANumber.rings, 1);
}

TEST_F(ClockTest, CallsAtItsTimeAndNotBefore) {
   Seconds at = 0;
   Ringer ringer{currentTime() + 10.0, [&] { at = currentTime(); }};
   Vorn::Host::runFor(9.5);
   EXPECT_EQ(ringer.rings, 0);
   Vorn::Host::runFor(1.0);
   EXPECT_EQ(ringer.rings, 1);
   EXPECT_EQ(at, Seconds{1010});
}

TEST_F(ClockTest, CallsAtTheVeryEndOfARun) {
   Ringer ringer{currentTime() + 60.0, {}};
   Vorn::Host::runFor(60);
   EXPECT_EQ(ringer.rings, 1);
   EXPECT_EQ(currentTime(), Seconds{1060});
}

TEST_F(ClockTest, KeepsOnlyTheLatestRequest) {
   Ringer ringer{currentTime() + 10.0, {}};
   ringer.clock.timeMinIs(currentTime() + 100.0);
   Vorn::Host::runFor(50);
   EXPECT_EQ(ringer.rings, 0);
   ringer.clock.timeMinIs(currentTime() + 1.0);
   Vorn::Host::runFor(200);
   EXPECT_EQ(ringer.rings, 1);
}

TEST_F(ClockTest, CallsOncePerTurnWhenArmedForThePastInItsOwnHandler) {
   Ringer ringer;
   ringer.then = [&] { ringer.clock.timeMinIs(0); };
   for (int turns = 1; turns <= 3; ++turns) {
      Vorn::Host::turn();
      EXPECT_EQ(ringer.rings, turns);
   }
}

TEST_F(ClockTest, StarvesNoOthersWhenAlwaysDue) {
   Ringer always;
   always.then = [&] { always.clock.timeMinIs(-Seconds::infinity().value()); };
   Ringer other{currentTime(), {}};
   Vorn::Host::turn();
   EXPECT_EQ(always.rings, 1);
   EXPECT_EQ(other.rings, 1);
}

TEST_F(ClockTest, CallsInOrderOfTimeAndTiesInOrderOfArming) {
   std::string order;
   Seconds const then = currentTime() + 5.0;
   Ringer a{then, [&] { order += 'a'; }};
   Ringer b{then, [&] { order += 'b'; }};
   Ringer c{then - 1.0, [&] { order += 'c'; }};
   Ringer d{then, [&] { order += 'd'; }};
   a.clock.timeMinIs(then);
   Vorn::Host::runFor(10);
   EXPECT_EQ(order, "cbda");
}

TEST_F(ClockTest, WaitsForTheNextTurnWhenArmedAgainByAnotherHandlerWhileDue) {
   Ringer second{currentTime() + 1.0, {}};
   Ringer first{currentTime(), [&] { second.clock.timeMinIs(currentTime()); }};
   Vorn::Host::turn();
   EXPECT_EQ(first.rings, 1);
   EXPECT_EQ(second.rings, 0);
   Vorn::Host::turn();
   EXPECT_EQ(second.rings, 1);
}

TEST_F(ClockTest, SkipsAHandlerThatAnotherDueOneDisarmedOrSwitchedOff) {
   std::unique_ptr<Ringer> disarmed;
   std::unique_ptr<Ringer> off;
   std::unique_ptr<Ringer> deleted;
   Ringer first{currentTime(), [&] {
                   disarmed->clock.timeMinIs(Seconds::infinity());
                   off->clock.hasNotificationActiveIs(false);
                   deleted.reset();
                }};
   disarmed = std::make_unique<Ringer>();
   off = std::make_unique<Ringer>();
   deleted = std::make_unique<Ringer>();
   for (Ringer * const ringer : {disarmed.get(), off.get(), deleted.get()})
      ringer->clock.timeMinIs(currentTime());
   Vorn::Host::runFor(5);
   EXPECT_EQ(first.rings, 1);
   EXPECT_EQ(disarmed->rings + off->rings, 0);
   off->clock.hasNotificationActiveIs(true);
   Vorn::Host::runFor(5);
   EXPECT_EQ(off->rings, 1) << "its request was kept";
}

TEST_F(ClockTest, AllowsItsDeletionInItsOwnHandler) {
   auto ringer = std::make_unique<Ringer>();
   int rings = 0;
   ringer->then = [&] {
      ++rings;
      ringer.reset();
   };
   Vorn::Host::runFor(5);
   EXPECT_EQ(rings, 1);
   EXPECT_EQ(next(), Seconds::infinity());
}

TEST_F(ClockTest, KeepsItsPlaceInTheOrderWhenSwitchedOnTwice) {
   std::string order;
   Ringer a{currentTime() + 1.0, [&] { order += 'a'; }};
   Ringer b{currentTime() + 1.0, [&] { order += 'b'; }};
   a.clock.hasNotificationActiveIs(true);
   Vorn::Host::runFor(2);
   EXPECT_EQ(order, "ab");
}

TEST_F(ClockTest, CountsReactorsWhileRegistered) {
   auto const before = Vorn::activityManager().registeredNotifiees();
   {
      Ringer ringer;
      Vorn::Clock::NotifieeConst & base = ringer.clock;
      EXPECT_FALSE(base.isRegisteredNotifiee());
      base.isRegisteredNotifieeIs(true);
      base.isRegisteredNotifieeIs(true);
      EXPECT_TRUE(base.isRegisteredNotifiee());
      EXPECT_EQ(Vorn::activityManager().registeredNotifiees(), before + 1);
      EXPECT_TRUE(base.hasNotificationActive());
      EXPECT_EQ(base.notifier(), Vorn::activityManager().config()->clock());
   }
   EXPECT_EQ(Vorn::activityManager().registeredNotifiees(), before);
}

TEST_F(ClockTest, WaitsOnAnotherClockOrOnNone) {
   Ringer ringer{currentTime() + 1.0, {}};
   ringer.clock.notifierIs(nullptr);
   Vorn::Host::runFor(5);
   EXPECT_EQ(ringer.rings, 0);
   auto const own = Pelm::make<Vorn::Clock>();
   ringer.clock.notifierIs(own);
   EXPECT_EQ(own->nextTime(), Seconds{1001});
   own->fireDue(1000);
   EXPECT_EQ(ringer.rings, 0);
   own->fireDue(1001);
   EXPECT_EQ(ringer.rings, 1);
}

TEST_F(ClockTest, CallsTheOthersAfterAHandlerThatRaises) {
   std::string failed;
   Vorn::Host::failureSinkIs([&](std::string_view machine, std::string_view what) {
      failed = std::string{machine} + ": " + std::string{what};
   });
   Ringer bad{currentTime(), [] { throw std::runtime_error{"spring broke"}; }};
   Ringer good{currentTime(), {}};
   Vorn::Host::turn();
   Vorn::Host::failureSinkIs(nullptr);
   EXPECT_EQ(good.rings, 1);
   EXPECT_NE(failed.find("Ringer: spring broke"), std::string::npos) << failed;
}

TEST_F(ClockTest, CallsAHandlerAgainThatRaisedBeforeItAskedForATime) {
   Ringer minute{currentTime(), [] { throw std::bad_alloc{}; }};
   Vorn::Host::turn();
   EXPECT_EQ(minute.rings, 1);
   EXPECT_EQ(minute.clock.timeMin(), currentTime() + Vorn::Clock::NotifieeConst::retrySpan);
   minute.then = {};
   Vorn::Host::runFor(1000);
   EXPECT_EQ(minute.rings, 2) << "good, it asks for no third";
}

TEST_F(ClockTest, KeepsTheTimeThatAHandlerAskedForBeforeItRaised) {
   Ringer minute{currentTime(), {}};
   Seconds const wanted = currentTime() + 7.0;
   minute.then = [&] {
      minute.clock.timeMinIs(wanted);
      throw std::bad_alloc{};
   };
   Vorn::Host::turn();
   EXPECT_EQ(minute.clock.timeMin(), wanted);
}

TEST_F(ClockTest, ForgetsAReactorThatItsHandlerDestroysBeforeItRaises) {
   std::unique_ptr<Ringer> last;
   last = std::make_unique<Ringer>(currentTime(), [&] {
      last.reset();
      throw std::bad_alloc{};
   });
   Vorn::Host::turn();
   EXPECT_FALSE(last);
   EXPECT_EQ(next(), Seconds::infinity());
}

TEST_F(ClockTest, RunsADayOfMinutesInNoTime) {
   Ringer minute{currentTime() + 60.0, {}};
   minute.then = [&] { minute.clock.timeMinIs(minute.rings * 60.0 + 1060.0); };
   Vorn::Host::runFor(86400);
   EXPECT_EQ(minute.rings, 1440);
   EXPECT_EQ(Vorn::System::currentTimeUtc(), Seconds{1700086400});
}

TEST_F(ClockTest, CallsALateRequestOnceAfterAClockJump) {
   Ringer minute{currentTime() + 60.0, {}};
   minute.then = [&] { minute.clock.timeMinIs(currentTime() + 60.0); };
   time->jumpBy(3600);
   EXPECT_EQ(minute.rings, 0) << "nothing runs while the clock jumps";
   EXPECT_EQ(Vorn::System::currentTimeUtc(), Seconds{1700003600});
   Vorn::Host::runFor(30);
   EXPECT_EQ(minute.rings, 1);
   Vorn::Host::runFor(60);
   EXPECT_EQ(minute.rings, 2);
}

TEST_F(ClockTest, KeepsItsTimeBeforeAnEarlierDeadline) {
   Vorn::Seconds const now = Vorn::System::currentTime();
   time->jumpTo(now - 5);
   EXPECT_EQ(Vorn::System::currentTime(), now);
}

TEST_F(ClockTest, LimitsHandlersByATimeThatReadingsAdvance) {
   time->stepPerReadingIs(0.125);
   int steps = 0;
   Ringer worker{0, [&] {
                    for (Seconds const start = currentTime(); currentTime() - start < 0.5;)
                       ++steps;
                 }};
   Vorn::Host::turn();
   EXPECT_EQ(steps, 3);
}

class LoopTest : public Support::VirtualTimeTest {};

TEST_F(LoopTest, RunsUntilTheConditionHoldsAndNoLonger) {
   Ringer ringer{currentTime() + 30.0, {}};
   EXPECT_TRUE(eventually([&] { return ringer.rings == 1; }));
   EXPECT_EQ(currentTime(), Seconds{1030});
   EXPECT_FALSE(eventually([&] { return ringer.rings == 2; }, 50));
   EXPECT_EQ(currentTime(), Seconds{1080});
   EXPECT_TRUE(Vorn::Host::runUntil([] { return true; }, 0));
}

TEST_F(LoopTest, AnswersTheConditionThatCameTrueAtTheDeadline) {
   Ringer ringer{currentTime() + 30.0, {}};
   EXPECT_TRUE(eventually([&] { return ringer.rings == 1; }, 30));
}

TEST_F(LoopTest, StopsAtTheEndOfTheTurn) {
   Ringer second{currentTime(), {}};
   Ringer first{currentTime() - 1.0, [] { Vorn::Host::stop(); }};
   Vorn::Host::run();
   EXPECT_EQ(second.rings, 1) << "what was due in that turn is still called";
   Ringer later;
   Vorn::Host::stop();
   EXPECT_TRUE(Vorn::Host::stopRequested());
   Vorn::Host::run();
   EXPECT_EQ(later.rings, 0) << "a stop asked for before returns at once";
   EXPECT_FALSE(Vorn::Host::stopRequested());
}

TEST_F(LoopTest, IsIdleWithNothingToWaitFor) {
   EXPECT_EQ(Vorn::Host::turn(), Vorn::Host::Turn::idle);
   EXPECT_EQ(currentTime(), Seconds{1000});
}

TEST(RealTimeTest, FollowsTheKernelAndRunsFasterWhenScaled) {
   Vorn::Host::timeSourceIs(nullptr);
   Seconds const first = currentTime();
   EXPECT_GE(currentTime(), first);
   EXPECT_GT(Vorn::System::currentTimeUtc(), Seconds{1.6e9});
   EXPECT_EQ(Vorn::Host::timeSource().realSecondsPerSecond(), 1.0);
   Vorn::Host::timeSource().jumpTo(first + 1e9);
   EXPECT_LT(currentTime(), first + 1e6) << "real time does not jump";
   Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::RealTime>(1000.0));
   EXPECT_EQ(Vorn::Host::timeSource().spanOf(1), Seconds{1000});
   Seconds const monotonic = currentTime();
   Seconds const utc = Vorn::System::currentTimeUtc();
   Vorn::Host::runFor(20);
   EXPECT_GE(currentTime() - monotonic, Seconds{20});
   EXPECT_GE(Vorn::System::currentTimeUtc() - utc, Seconds{20});
   Vorn::Host::timeSourceIs(nullptr);
}

TEST(RealTimeTest, WaitsForADeadlineAndIsIdleOnlyForAShorterWait) {
   Vorn::Host::timeSourceIs(nullptr);
   Ringer ringer{currentTime() + 0.02, {}};
   EXPECT_EQ(Vorn::Host::turn(0), Vorn::Host::Turn::idle);
   Vorn::Host::runFor(0.05);
   EXPECT_EQ(ringer.rings, 1);
}

}  // namespace
