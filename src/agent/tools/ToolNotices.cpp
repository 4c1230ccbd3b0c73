#include "agent/tools/ToolNotices.h"

#include <syslog.h>

#include <utility>

#include "StorageDevices/ToolMeaning.h"

namespace Agent {

ToolNotices::ToolNotices(Pelm::Ptr<Brul::ChildProcessTrackerSm const> const & tracker, Notice notice)
    : notice_{std::move(notice)} {
   reactor_.notifierIs(tracker);
   reactor_.on<&ToolNotices::handleFinishedRun>(tracker->finishedRun, *this);
   reactor_.hasNotificationActiveIs(true);
}

void ToolNotices::handleFinishedRun(Vorn::Change<Pelm::Ptr<Brul::FinishedRun const>> const & change) {
   if (!change.now || !*change.now || (*change.now)->argv.empty())
      return;
   Brul::FinishedRun const & run = **change.now;
   std::string const tool = run.argv.front().str();
   if (!StorageDevices::couldNotStart(run)) {
      if (failing_.erase(tool) > 0)
         notice_(LOG_INFO, tool + " can be started again");
      return;
   }
   std::string const why = run.reason.str();
   if (std::string & reported = failing_[tool]; reported != why) {
      reported = why;
      notice_(LOG_WARNING, tool + " cannot be started, so its readings fail until it can: " + why);
   }
}

}  // namespace Agent
