// Takes the agent's mount points from a simulated unit instead of from this machine. For simulations alone:
// it is on only where the environment names the unit's folder.
//
//    FOLDER/proc/self/mountinfo, FOLDER/sys    the mount table and its devices
//    FOLDER/mnt/NAME                           what is mounted at /mnt/NAME
//    FOLDER/io-results                         what file system tests get instead, a line each:
//                                              "/mnt/NAME ATTRIBUTE VALUE"
#pragma once

#include <optional>
#include <string>

#include "StorageDevices/FsHealthIoOps.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"

namespace Agent {

class SimulatedRoot {
 public:
   // The environment variable that names the folder.
   static constexpr char variable[] = "STORAGEDEVICES_SIMULATED_ROOT";
   // How often the results are looked at, framework seconds.
   static constexpr double interval = 5;

   // As the environment names it; nothing when it names none.
   static std::optional<std::string> named();

   explicit SimulatedRoot(std::string folder);
   ~SimulatedRoot();

   // Whose file system tests get the results.
   void mountPointsIs(Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> mountPoints);

 private:
   void handleClock();

   std::string folder_;
   Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> mountPoints_;
   Vorn::Clock::Notifiee<&SimulatedRoot::handleClock> clock_;
};

// Gives the operations the results that the lines of `text` name for the mount point; what no line names
// really happens. A line that is not understood counts for nothing.
void ioResultsAre(StorageDevices::FsHealthIoOps & operations, std::string const & mountPoint,
                  std::string const & text);

}  // namespace Agent
