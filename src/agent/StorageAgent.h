// The agent itself: creates the entities, starts the monitors, shows what they publish, runs until it
// is told to stop.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/ConnectedDevicesSm.h"
#include "agent/Config.h"
#include "agent/Http.h"
#include "agent/MessageStore.h"
#include "agent/Signals.h"
#include "agent/StderrLog.h"
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

   // Until SIGTERM or SIGINT.
   void run();

   // What is served on a path.
   HttpAnswer answer(HttpRequest const & request) const;

 private:
   static Pelm::Ptr<Brul::ChildProcessTrackerSm> trackerOf(Config const & config);
   void startMonitors();
   HttpAnswer messages(HttpRequest const & request) const;

   Config const & config_;
   StderrLog & log_;
   MessageStore messages_;
   double lastTurn_;  // when the latest turn of the loop ended, real monotonic seconds
   TerminationSignals signals_;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
   Pelm::Ptr<FruConfig> fruConfig_;
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices_ = Pelm::make<StorageDevices::ConnectedDevices>();
   std::vector<std::unique_ptr<HttpServer>> servers_;
   Pelm::Ptr<StorageDevices::ConnectedDevicesSm> discovery_;
};

}  // namespace Agent
