#include "agent/tools/ToolRuns.h"

namespace Agent {

ToolRuns::ToolRuns(Pelm::Ptr<Brul::ChildProcessTrackerSm const> const & tracker) {
   reactor_.notifierIs(tracker);
   reactor_.on<&ToolRuns::handleFinishedRun>(tracker->finishedRun, *this);
   reactor_.hasNotificationActiveIs(true);
}

void ToolRuns::handleFinishedRun(Vorn::Change<Pelm::Ptr<Brul::FinishedRun const>> const & change) {
   if (!change.now || !*change.now)
      return;
   Pelm::Ptr<Brul::FinishedRun const> const & run = *change.now;
   ++runs_;
   failed_ += run->failed ? 1 : 0;
   timedOut_ += run->timedOut ? 1 : 0;
   last_.push_back({run, Vorn::System::currentTimeUtc()});
   if (last_.size() > kept)
      last_.pop_front();
}

}  // namespace Agent
