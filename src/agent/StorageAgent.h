// The agent: runs the monitors, serves the values that they publish, and ends at a signal.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "StorageDevices/ApplianceTracker.h"
#include "agent/Monitors.h"
#include "agent/config/Config.h"
#include "agent/documents/StateDocument.h"
#include "agent/events/EventFeed.h"
#include "agent/history/History.h"
#include "agent/history/HistoryFile.h"
#include "agent/logs/AgentLog.h"
#include "agent/logs/MessageStore.h"
#include "agent/serve/Http.h"
#include "agent/service/ServiceManager.h"
#include "agent/service/Signals.h"
#include "agent/service/WatchdogStart.h"
#include "agent/tools/Readings.h"
#include "agent/tools/StrayProcesses.h"
#include "agent/tools/ToolNotices.h"
#include "agent/tools/ToolRuns.h"
#include "agent/verdict/Verdicts.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"

namespace Agent {

class StorageAgent {
 public:
   // Reads the configuration again. Raises ConfigError for a configuration that cannot be used.
   using Reread = std::function<Config()>;

   // `configFile` is where `reread` reads, for readers of the status. Raises Base::SocketError when the agent
   // cannot listen on its sockets.
   StorageAgent(Config config, AgentLog & log, Reread reread, std::string configFile);
   ~StorageAgent();

   // Runs until a signal stops the loop (see Signals).
   void run();

   // Reads the configuration again, applies the keys that need no restart, and forgets disks that are gone. A
   // configuration that cannot be used changes nothing. Logs the outcome in one line, which the status keeps.
   void reload();

   // Answers a request by its path.
   HttpAnswer answer(HttpRequest const & request);

 private:
   std::string applyReread();  // answers what takes effect
   void toolsAre(Config::Tools const & tools);
   void traceLevelsAre(std::map<std::string, int> const & before);
   void serve(ListenSocket socket, std::optional<Base::HttpAddress> const & address = {});
   Vorn::Seconds lastTurnAge() const;  // real time
   Stalls stalls() const;
   StateSources stateSources();
   HttpAnswer state(HttpRequest const & request);
   HttpAnswer metrics();
   HttpAnswer history(HttpRequest const & request);
   std::optional<Pelm::String> diskNamed(std::string_view text) const;
   HttpAnswer messages(HttpRequest const & request) const;
   HttpAnswer events(HttpRequest const & request);

   Config config_;
   AgentLog & log_;
   Reread reread_;
   ConfigurationReport configuration_;
   MessageStore messages_;
   Vorn::Seconds started_ = Vorn::System::currentTime();
   Vorn::Seconds lastTurn_;  // when the latest turn of the loop ended, real monotonic time
   Signals signals_;
   ServiceManager serviceManager_;
   std::optional<WatchdogStart> watchdog_;  // outlives the monitors: their end may stall too
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = StorageDevices::applianceTracker();
   StrayProcesses strays_{tracker_};
   Monitors monitors_;
   ToolRuns toolRuns_{tracker_};
   ToolNotices toolNotices_{tracker_,
                            [this](int severity, std::string const & text) { log_.notice(severity, text); }};
   Readings readings_{monitors_.entities()};
   Verdicts verdicts_{monitors_.entities(), config_.verdict, readings_,
                      [this] { return monitors_.recordKeepers().mountPoints; },
                      [this] { return monitors_.allDevicesKnown(); }};
   History history_{monitors_.entities(), config_.history.hours * 3600};
   std::optional<HistoryFile> historyFile_;  // while the agent runs
   EventFeed events_{messages_, verdicts_, readings_};
   std::vector<std::unique_ptr<HttpServer>> servers_;
};

}  // namespace Agent
