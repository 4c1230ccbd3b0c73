// The agent itself: has the monitors run, shows what they publish, runs until it is told to stop.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "agent/Config.h"
#include "agent/Http.h"
#include "agent/MessageStore.h"
#include "agent/Monitors.h"
#include "agent/Readings.h"
#include "agent/ServiceManager.h"
#include "agent/Signals.h"
#include "agent/StderrLog.h"
#include "agent/ToolRuns.h"
#include "agent/Watchdog.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"

namespace Agent {

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
   double lastTurnAge() const;  // seconds
   Holds holds() const;
   HttpAnswer state(HttpRequest const & request) const;
   HttpAnswer messages(HttpRequest const & request) const;

   Config const & config_;
   StderrLog & log_;
   MessageStore messages_;
   double lastTurn_;  // when the latest turn of the loop ended, real monotonic seconds
   TerminationSignals signals_;
   ServiceManager serviceManager_;
   std::optional<Watchdog> watchdog_;  // outlives the monitors: their end may be held too
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
   Monitors monitors_;
   ToolRuns toolRuns_{tracker_};
   Readings readings_{monitors_.entities(), tracker_};
   std::vector<std::unique_ptr<HttpServer>> servers_;
};

}  // namespace Agent
