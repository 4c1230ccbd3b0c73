// The agent itself: creates the entities, starts the monitors, shows what they publish, runs until it
// is told to stop.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "StorageDevices/ConnectedDevicesSm.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/IOStatSm.h"
#include "StorageDevices/NvmeDataMonitorSm.h"
#include "StorageDevices/SmartDataMonitorSm.h"
#include "agent/Config.h"
#include "agent/Http.h"
#include "agent/MessageStore.h"
#include "agent/Readings.h"
#include "agent/Signals.h"
#include "agent/StderrLog.h"
#include "agent/ToolRuns.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/model/FruConfig.h"

namespace Agent {

// The entity that discovery reads, as the configuration has it.
Pelm::Ptr<FruConfig> fruConfigOf(Config const & config);

class StorageAgent {
 public:
   // Raises SocketError when the agent cannot be asked on its sockets.
   StorageAgent(Config const & config, StderrLog & log);
   StorageAgent(StorageAgent const &) = delete;
   StorageAgent & operator=(StorageAgent const &) = delete;
   ~StorageAgent();

   // Until SIGTERM, SIGINT or SIGHUP.
   void run();

   // What is served on a path.
   HttpAnswer answer(HttpRequest const & request) const;

 private:
   static Pelm::Ptr<Brul::ChildProcessTrackerSm> trackerOf(Config const & config, StderrLog & log);
   void startMonitors();
   HttpAnswer state(HttpRequest const & request) const;
   HttpAnswer messages(HttpRequest const & request) const;

   Config const & config_;
   StderrLog & log_;
   MessageStore messages_;
   double lastTurn_;  // when the latest turn of the loop ended, real monotonic seconds
   TerminationSignals signals_;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
   Pelm::Ptr<FruConfig> fruConfig_;
   Entities entities_;
   ToolRuns toolRuns_{tracker_};
   Readings readings_{entities_, tracker_};
   std::vector<std::unique_ptr<HttpServer>> servers_;
   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> discovery_;
   Pelm::Ptr<StorageDevices::SmartDataMonitorSm> smartMonitor_;
   Pelm::Ptr<StorageDevices::NvmeDataMonitorSm> nvmeMonitor_;
   Pelm::Ptr<StorageDevices::EmmcDataMonitorSm> emmcMonitor_;
   Pelm::Ptr<StorageDevices::IOStatSm> ioStat_;
};

}  // namespace Agent
