// Ends processes that the tools leave behind. A process that leaves its group (setsid, a double fork)
// survives the end of the group. This process becomes a child subreaper and so adopts it. It kills and reaps
// the process when no run is in flight that may have started it.
#pragma once

#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

// Construct it on the process's first thread, which must start all children of this process. No child may
// outlive the handler that starts it, except those of the tracker's runs.
class StrayProcesses {
 public:
   explicit StrayProcesses(Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);
   // Kills and reaps every child. Waits a quarter of a second at most for those that are stuck in the kernel.
   ~StrayProcesses();

 private:
   void sweep();
   void sweepWithin(Vorn::Seconds span);  // real time

   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
   Vorn::Clock::Notifiee<&StrayProcesses::sweep> clock_;
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
