// Reports with one line that a tool cannot be started, and with another that it can be started again.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

class ToolNotices {
 public:
   using Notice = std::function<void(int severity, std::string const & text)>;

   ToolNotices(Pelm::Ptr<Brul::ChildProcessTrackerSm const> const & tracker, Notice notice);

 private:
   void handleFinishedRun(Vorn::Change<Pelm::Ptr<Brul::FinishedRun const>> const & change);

   Notice notice_;
   std::map<std::string, std::string> failing_;  // tool -> why it cannot be started
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
