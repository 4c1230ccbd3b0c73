// Any subscriber of a health test may stop, restart or release it in any notification.
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <utility>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "runtime/host/Log.h"
#include "tests/support/MountPoint.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

namespace fs = std::filesystem;

using Texts = std::vector<std::string>;
using State = FsHealthSmState;

// Calls an action at the notification of that number, be it a change of an attribute or a log message.
class Interruption {
 public:
   Interruption(FsHealthSm const & machine, int at, std::function<void()> action)
       : at_{at}, action_{std::move(action)} {
      Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const &) { handle(); });
      machine_.notifierIs(Pelm::Ptr<Pelm::Node const>{&machine});
      listen(machine_, machine.running, machine.state, machine.syslogTriggered, machine.nonSyslogErrorCount,
             machine.eagainErrorCount, machine.writeTestOk, machine.readTestOk, machine.cookieFilePath,
             machine.cookieData);
      auto const & fd = *machine.fsHealthSmFd();
      fd_.notifierIs(Pelm::Ptr<Pelm::Node const>{&fd});
      listen(fd_, fd.descriptor, fd.notifyOnReadable, fd.notifyOnWritable);
   }
   Interruption(Interruption const &) = delete;
   Interruption & operator=(Interruption const &) = delete;
   ~Interruption() { Vorn::Host::logSinkIs(nullptr); }

   int notifications() const { return count_; }

 private:
   template <class... Cell>
   void listen(Vorn::NotifieeConst & reactor, Cell const &... cells) {
      (reactor.template on<&Interruption::handle>(cells, *this), ...);
      reactor.hasNotificationActiveIs(true);
   }
   void handle() {
      if (++count_ == at_)
         action_();
   }

   int at_;
   int count_ = 0;
   std::function<void()> action_;
   Vorn::NotifieeConst machine_;
   Vorn::NotifieeConst fd_;
};

// A way that a test may go.
struct Way {
   char const * name;
   void (*arrange)(FsHealthIoOps & ops, fs::path const & mountPoint);

   // As a failure names it.
   friend void PrintTo(Way const & way, std::ostream * out) { *out << way.name; }
};

void failWith(FsHealthIoOps & ops, void (FsHealthIoOps::*result)(std::int32_t),
              void (FsHealthIoOps::*error)(std::int32_t), int number) {
   (ops.*result)(-1);
   (ops.*error)(number);
}

constexpr Way ways[] = {
    {"good", [](FsHealthIoOps &, fs::path const &) {}},
    {"unreadable",
     [](FsHealthIoOps & ops, fs::path const &) {
        failWith(ops, &FsHealthIoOps::readRetIs, &FsHealthIoOps::readErrnoIs, EIO);
     }},
    {"changed", [](FsHealthIoOps & ops, fs::path const &) { ops.readRetIs(static_cast<int>(blockSize)); }},
    {"unwritable",
     [](FsHealthIoOps & ops, fs::path const &) {
        failWith(ops, &FsHealthIoOps::writeRetIs, &FsHealthIoOps::writeErrnoIs, EIO);
     }},
    {"odd",
     [](FsHealthIoOps & ops, fs::path const &) {
        failWith(ops, &FsHealthIoOps::writeRetIs, &FsHealthIoOps::writeErrnoIs, EINVAL);
     }},
    {"hung",
     [](FsHealthIoOps & ops, fs::path const &) {
        failWith(ops, &FsHealthIoOps::lseekRetIs, &FsHealthIoOps::lseekErrnoIs, EAGAIN);
     }},
    {"notToBeOpenedYet",
     [](FsHealthIoOps & ops, fs::path const &) {
        failWith(ops, &FsHealthIoOps::openRetIs, &FsHealthIoOps::openErrnoIs, EAGAIN);
     }},
    {"withoutMountPoint", [](FsHealthIoOps &, fs::path const & mountPoint) { fs::remove_all(mountPoint); }},
    {"inItsWay",
     [](FsHealthIoOps &, fs::path const & mountPoint) {
        fs::create_directories(mountPoint / "debug/healthTestCookie");
     }},
};

class FsHealthInterruptionsTest : public Support::VirtualTimeTest, public testing::WithParamInterface<Way> {
 protected:
   FsHealthInterruptionsTest() {
      Vorn::Host::turn();  // opens the descriptors of the loop itself
      before_ = Support::openDescriptors();
   }

   void make() {
      fs::remove_all(mountPoint_);
      fs::create_directory(mountPoint_);
      machine_ = fsHealthSmFactory(mountPoint_.c_str(), blockSize, Pelm::make<ConnectedDevices>());
      GetParam().arrange(*machine_->ioOps(), mountPoint_);
      traces_.clear();
   }
   // From now on a test goes well.
   void heal() const {
      FsHealthIoOps & ops = *machine_->ioOps();
      for (auto const result : {&FsHealthIoOps::openRetIs, &FsHealthIoOps::lseekRetIs,
                                &FsHealthIoOps::readRetIs, &FsHealthIoOps::writeRetIs})
         (ops.*result)(0);
      fs::remove_all(mountPoint_ / "debug");
      fs::create_directories(mountPoint_);
   }
   // A whole test, as the loop drives it.
   void runOnLoop() const {
      if (Pelm::Ptr<FsHealthSm> const machine = machine_)
         machine->start();
      Vorn::Host::runFor(700);
   }
   // The same by calls, so that each change is delivered where it is made.
   void runByHand() const {
      Pelm::Ptr<FsHealthSm> const machine = machine_;
      auto const step = [&](State::Value state, auto const & call) {
         if (machine_ && !restartedAt_ && machine->state() == state)
            call();
      };
      machine->start();
      step(State::writeTest, [&] { machine->handleTestClock(); });
      step(State::writeTest, [&] { ready(*machine, &FsHealthSm::doWriteTest); });
      step(State::readTest, [&] { machine->handleTestClock(); });
      step(State::readTest, [&] { ready(*machine, &FsHealthSm::doReadTest); });
      step(State::writeTest, [&] { machine->handleTestClock(); });
   }
   static void ready(FsHealthSm & machine, void (FsHealthSm::*phase)()) {
      if (machine.fsHealthSmFd()->descriptor() >= 0)
         (machine.*phase)();
   }
   void expectStopped() const {
      EXPECT_EQ(machine_->state(), State{State::cleanup});
      EXPECT_FALSE(machine_->running());
      EXPECT_EQ(machine_->testClock()->timeMin(), Vorn::Seconds::infinity());
      EXPECT_EQ(Support::openDescriptors(), before_);
   }
   // Interrupts each notification of a run in turn and calls `check` after each. Answers their number.
   template <class Action, class Check>
   int interruptEach(Action const & action, Check const & check) {
      int notified = 0;
      for (bool const byHand : {false, true})
         for (int at = 1;; ++at) {
            make();
            Interruption const interruption{*machine_, at, action};
            if (byHand)
               runByHand();
            else
               runOnLoop();
            if (interruption.notifications() < at)
               break;
            SCOPED_TRACE((byHand ? "by hand, " : "") + std::to_string(at));
            ++notified;
            check(interruption);
         }
      return notified;
   }

   Support::TempDir folder_{Support::folderWithDirectIo()};
   fs::path mountPoint_ = folder_.path() / "mount";
   Support::TraceRecorder traces_{{"StorageFsHealthSm", 0}};
   Pelm::Ptr<FsHealthSm> machine_;
   std::optional<Vorn::Seconds> restartedAt_;
   std::vector<int> before_;
};

TEST_P(FsHealthInterruptionsTest, StopsForGoodInAnyNotification) {
   auto const check = [this](Interruption const & interruption) {
      expectStopped();
      int const notified = interruption.notifications();
      Vorn::Host::runFor(2 * day);
      EXPECT_EQ(interruption.notifications(), notified) << "it went on";
      for (std::string const & error : traces_.errors())
         EXPECT_EQ(error.find("close"), std::string::npos) << error;
   };
   EXPECT_GT(interruptEach([this] { machine_->stop(); }, check), 4);
}

TEST_P(FsHealthInterruptionsTest, StopsAndRestartsInAnyNotification) {
   auto const check = [this](Interruption const &) {
      ASSERT_TRUE(restartedAt_);
      Vorn::Seconds const restarted = *std::exchange(restartedAt_, std::nullopt);
      EXPECT_TRUE(machine_->running());
      Vorn::Host::runFor((restarted + 650 - Vorn::System::currentTime()).value());
      EXPECT_TRUE(machine_->writeTestOk() && machine_->readTestOk()) << "a test of its own, with its own end";
      EXPECT_EQ(machine_->state(), State{State::idle});
      EXPECT_NEAR((machine_->testClock()->timeMin() - restarted).value(), 900, 3);
      machine_->stop();
      EXPECT_EQ(Support::openDescriptors(), before_);
   };
   auto const restart = [this] {
      machine_->stop();
      heal();
      machine_->start();
      restartedAt_ = Vorn::System::currentTime();
   };
   EXPECT_GT(interruptEach(restart, check), 4);
}

TEST_P(FsHealthInterruptionsTest, StartsWhileItStops) {
   int notified = 0;
   for (double const into : {0.0, 302.0, 602.0})
      for (int at = 1;; ++at) {
         make();
         machine_->start();
         Vorn::Host::runFor(into);
         Interruption const interruption{*machine_, at, [this] { machine_->start(); }};
         machine_->stop();
         if (interruption.notifications() < at)
            break;
         SCOPED_TRACE(std::to_string(into) + " s, " + std::to_string(at));
         ++notified;
         EXPECT_TRUE(machine_->running());
         EXPECT_NE(machine_->state(), State{State::cleanup});
         bool const parked = machine_->state() == State::setup;
         EXPECT_EQ(parked, machine_->testClock()->timeMin() == Vorn::Seconds::infinity());
         machine_->stop();
         EXPECT_EQ(Support::openDescriptors(), before_);
      }
   EXPECT_GT(notified, 4);
}

TEST_P(FsHealthInterruptionsTest, StopsWhileItStartsAgain) {
   int notified = 0;
   for (int at = 1;; ++at) {
      make();
      machine_->stop();
      Interruption const interruption{*machine_, at, [this] { machine_->stop(); }};
      machine_->start();
      if (interruption.notifications() < at)
         break;
      SCOPED_TRACE(at);
      ++notified;
      expectStopped();
   }
   EXPECT_GT(notified, 2);
}

TEST_P(FsHealthInterruptionsTest, EndsWhenReleasedInAnyNotification) {
   auto const check = [this](Interruption const &) { EXPECT_FALSE(machine_); };
   EXPECT_GT(interruptEach([this] { machine_ = nullptr; }, check), 4);
   EXPECT_EQ(Support::openDescriptors(), before_);
}

INSTANTIATE_TEST_SUITE_P(All, FsHealthInterruptionsTest, testing::ValuesIn(ways),
                         [](auto const & way) { return std::string{way.param.name}; });

}  // namespace

}  // namespace StorageDevices
