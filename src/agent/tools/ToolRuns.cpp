#include "agent/tools/ToolRuns.h"

namespace Agent {

ToolRuns::ToolRuns(Pelm::Ptr<Brul::ChildProcessTrackerSm const> const & tracker) {
   reactor_.notifierIs(tracker);
   reactor_.on<&ToolRuns::handleFinishedRun>(tracker->finishedRun, *this);
   reactor_.hasNotificationActiveIs(true);
}

void ToolRuns::countTool(Brul::FinishedRun const & run) {
   if (run.argv.empty())
      return;
   OfTool & tool = byTool_[run.argv.front().str()];
   ++(run.timedOut ? tool.timedOut : run.failed ? tool.failed : tool.ok);
   tool.seconds.Observe(run.duration.value());
}

void ToolRuns::handleFinishedRun(Vorn::Change<Pelm::Ptr<Brul::FinishedRun const>> const & change) {
   if (!change.now || !*change.now)
      return;
   Pelm::Ptr<Brul::FinishedRun const> const & run = *change.now;
   ++runs_;
   failed_ += run->failed ? 1 : 0;
   timedOut_ += run->timedOut ? 1 : 0;
   countTool(*run);
   last_.push_back({run, Vorn::System::currentTimeUtc()});
   if (last_.size() > kept)
      last_.pop_front();
}

}  // namespace Agent
