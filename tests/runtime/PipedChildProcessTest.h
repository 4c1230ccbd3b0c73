// Runs of real programs, in real time.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Vorn/ActivityManager.h"
#include "runtime/host/TimeSource.h"
#include "tests/support/ProcessState.h"
#include "tests/support/RealTime.h"

namespace RuntimeTest {

using Brul::ChildProcessTrackerSm;
using Brul::PipedChildProcessSm;
using Argv = std::vector<Pelm::String>;

// Watches a run and writes down its states.
class Command {
 public:
   Command(Pelm::Ptr<ChildProcessTrackerSm> const & tracker, Argv const & argv)
       : process{PipedChildProcessSm::PipedChildProcessSmIs(tracker)} {
      for (Pelm::String const & argument : argv)
         process->argPush(argument);
      reactor_.notifierIs(process);
      reactor_.on<&Command::handleState>(process->state, *this);
      reactor_.hasNotificationActiveIs(true);
      process->hasNotificationActiveIs(true);
   }

   bool over() const {
      return process->state() == PipedChildProcessSm::State::failed ||
             process->state() == PipedChildProcessSm::State::finished;
   }
   void drop() {
      reactor_.notifierIs(nullptr);
      process = nullptr;
   }

   Pelm::Ptr<PipedChildProcessSm> process;
   std::vector<std::string> states;
   std::function<void()> then;

 private:
   void handleState() {
      states.push_back(process->state().stringValue().str());
      if (auto const next = then)
         next();
   }
   Vorn::NotifieeConst reactor_;
};

class PipedChildProcessTest : public testing::Test {
 protected:
   using State = PipedChildProcessSm::State;

   PipedChildProcessTest() { Vorn::Host::timeSourceIs(nullptr); }
   ~PipedChildProcessTest() override {
      tracker = nullptr;
      EXPECT_FALSE(Support::hasChildren()) << "no test leaves a child";
      EXPECT_EQ(Vorn::activityManager().outsideWork(), 0);
   }

   // Runs a command to its end.
   std::unique_ptr<Command> run(Argv const & argv, bool captureStdout = true, bool captureStderr = true) {
      auto result = std::make_unique<Command>(tracker, argv);
      result->process->start(captureStdout, captureStderr);
      EXPECT_TRUE(Support::turnInRealTime([&] { return result->over(); }));
      return result;
   }
   std::unique_ptr<Command> shell(std::string const & script) { return run({"sh", "-c", script}); }

   Pelm::Ptr<ChildProcessTrackerSm> tracker = Pelm::make<ChildProcessTrackerSm>();
};

}  // namespace RuntimeTest
