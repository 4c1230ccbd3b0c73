// Replaces the mount points and the collectors of log lines of this machine by those of a simulated unit. It
// is used only where the environment names the unit's folder.
//
//    FOLDER/proc/self/mountinfo, FOLDER/sys    the mount table and its devices
//    FOLDER/mnt/NAME                           the file system at /mnt/NAME
//    FOLDER/dev/log, FOLDER/run/systemd/journal/socket
//                                              the collectors of log lines
//    FOLDER/io-results                         results of the calls of file system tests, a line each:
//                                              "/mnt/NAME ATTRIBUTE VALUE"
#pragma once

#include <string>

#include "StorageDevices/FsHealthIoOps.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Seconds.h"

namespace Agent {

class SimulatedRoot {
 public:
   // Framework time between two readings of io-results.
   static constexpr Vorn::Seconds interval = 5;

   explicit SimulatedRoot(std::string folder);
   ~SimulatedRoot();

   // The mount points whose file system tests get the results.
   void mountPointsIs(Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> mountPoints);

 private:
   void handleClock();

   std::string folder_;
   Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> mountPoints_;
   Vorn::Clock::Notifiee<&SimulatedRoot::handleClock> clock_;
};

// Sets the results that the lines of `text` name for the mount point. An operation without a line makes its
// real call. A line that cannot be read is ignored.
void ioResultsAre(StorageDevices::FsHealthIoOps & operations, std::string const & mountPoint,
                  std::string const & text);

}  // namespace Agent
