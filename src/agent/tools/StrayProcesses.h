// Ends what the tools leave behind. A program that leaves its process group (setsid, a double fork) outlives
// the end of that group; this process adopts it as the child subreaper that it makes itself, kills it when no
// run is under way that may have begun it, and reaps it.
#pragma once

#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

// Made on the process's first thread, from which all children of this process are started, and none but those
// of the tracker's runs outlives the handler that starts it.
class StrayProcesses {
 public:
   explicit StrayProcesses(Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker);
   StrayProcesses(StrayProcesses const &) = delete;
   StrayProcesses & operator=(StrayProcesses const &) = delete;
   // Kills and reaps every child that there is; waits a quarter of a second at most for those that the kernel
   // holds.
   ~StrayProcesses();

 private:
   void sweep();

   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
   Vorn::Clock::Notifiee<&StrayProcesses::sweep> clock_;
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
