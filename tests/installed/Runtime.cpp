#include <sstream>

#include "Host.h"
#include "StorageDevices/LogCatalogue.h"
#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Vorn/ActivityManager.h"
#include "runtime/Vorn/Dir.h"
#include "runtime/Vorn/Errno.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Log.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Module.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Process.h"
#include "runtime/Vorn/Queue.h"
#include "runtime/Vorn/Trace.h"
#include "runtime/host/Activity.h"
#include "runtime/host/Failure.h"
#include "runtime/host/Trace.h"

namespace InstalledHost {

namespace {

// A machine of the host's own: an attribute, a collection, a queue and a clock.
class Machine final : public Pelm::Node {
 public:
   void handleInitialized() {
      reactor_.notifierIs(Pelm::Ptr<Machine const>{this});
      reactor_.on<&Machine::handleLevel>(level, *this);
      reactor_.hasNotificationActiveIs(true);
   }

   Vorn::Attribute<int, Machine> level{*this, "level"};
   void levelIs(int value) { level.valueIs(value); }
   Vorn::Collection<Pelm::String, int, Machine> member{*this, "member"};
   void memberIs(Pelm::String const & name, int value) { member.memberIs(name, value); }
   void memberDelAll() { member.memberDelAll(); }
   Vorn::Queue<int, Machine> order{*this, "order"};
   void orderPush(int value) { order.push(value); }
   void orderPop() { order.pop(); }

   int changes() const { return changes_; }
   int rings() const { return rings_; }
   // It watches itself, so its owner must stop it.
   void detach() { reactor_.notifierIs(nullptr); }

 private:
   void handleLevel() { ++changes_; }
   void handleClock() { ++rings_; }

   int changes_ = 0;
   int rings_ = 0;
   Vorn::Clock::Notifiee<&Machine::handleClock> clock_{*this, 1010};
   Vorn::NotifieeConst reactor_;
};

TEST_F(InstalledHostTest, RunsAMachineOfItsOwn) {
   auto const machine = Vorn::makeMachine<Machine>();
   machine->levelIs(1);
   EXPECT_EQ(machine->changes(), 1);
   machine->memberIs("a", 1);
   machine->memberDelAll();
   machine->orderPush(1);
   machine->orderPop();
   EXPECT_THROW(machine->order.front(), Vorn::EmptyVector);
   EXPECT_THROW(machine->order(0), Vorn::VectorOutOfRange);
   Vorn::Host::runFor(20);
   EXPECT_EQ(machine->rings(), 1);
   machine->detach();
}

TEST_F(InstalledHostTest, RunsAProgram) {
   auto const run = Brul::PipedChildProcessSm::PipedChildProcessSmIs(tracker);
   run->hasNotificationActiveIs(true);
   run->argPush("nothing");
   run->argPopAll();
   run->argPush("false");
   run->argIs(0, "echo");
   run->argPush("hello");
   run->start(true, true);
   EXPECT_TRUE(eventually([&] { return run->state() == Brul::PipedChildProcessSm::State::finished; }));
   EXPECT_EQ(run->stdoutBuffer(), "hello\n");
   EXPECT_EQ(run->stderrString(), "");
   EXPECT_EQ(tracker->finishedRun()->exitCode, 0);
   EXPECT_EQ(Brul::waitForProcess(Vorn::spawnProcess({"true"}, -1, -1, -1)), 0);
}

TEST_F(InstalledHostTest, LogsAndTraces) {
   Vorn::LogHandle handle{StorageDevices::Catalogue::offline, 0, 1.0, 0, 0};
   Vorn::log(handle, "S1");
   ASSERT_EQ(logged.size(), 1U);
   EXPECT_TRUE(logged.front().ends_with("S1"));

   Vorn::TraceHandle const trace{"InstalledHostTrace", true};
   std::vector<std::string> lines;
   Vorn::Host::traceSinkIs([&](Vorn::Host::TraceLine const & line) { lines.push_back(line.text); });
   VORN_TRACE(trace, 0) << " " << Vorn::Errno(ENOENT, "open") << " " << Vorn::Seconds{2.5};
   Vorn::Host::traceSinkIs(nullptr);
   EXPECT_EQ(lines, std::vector<std::string>{" open: No such file or directory (errno 2) 2.5"});
   EXPECT_FALSE(Vorn::Host::traceFacilities().empty());
}

TEST_F(InstalledHostTest, ListsTheCatalogueOfTheLibrary) {
   auto const named = [](Vorn::Module const * module) {
      return std::string{module->name} == "StorageDevices";
   };
   EXPECT_TRUE(std::any_of(Vorn::modules().begin(), Vorn::modules().end(), named));
}

TEST_F(InstalledHostTest, WaitsInALoopOfItsOwn) {
   EXPECT_EQ(Vorn::Host::loopDescriptor(), Vorn::Host::loopDescriptor());
   EXPECT_GE(Vorn::Host::loopDescriptor(), 0);
}

TEST_F(InstalledHostTest, WatchesADescriptor) {
   int ends[2];
   ASSERT_EQ(pipe(ends), 0);
   auto const end = Pelm::make<Vorn::FileDescriptor>("end");
   end->nonBlockingIs(true);
   end->notifyOnReadableIs(true);
   end->notifyOnWritableIs(false);
   end->descriptorIs(ends[0]);
   ASSERT_EQ(::write(ends[1], "x", 1), 1);
   EXPECT_TRUE(eventually([&] { return end->readableCount() > 0; }));
   end->descriptorIs(-1);
   close(ends[0]);
   close(ends[1]);
}

}  // namespace

}  // namespace InstalledHost
