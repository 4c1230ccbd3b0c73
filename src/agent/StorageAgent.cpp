#include "agent/StorageAgent.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <optional>

#include "agent/HelperPrograms.h"
#include "agent/LivenessDocument.h"
#include "agent/Metrics.h"
#include "agent/StateDocument.h"
#include "agent/Version.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

constexpr int severityWarning = 4;
constexpr int severityInfo = 6;

std::optional<std::uint64_t> wholeNumber(char const * text) {
   std::uint64_t value = 0;
   char const * const end = text + std::strlen(text);
   auto const result = std::from_chars(text, end, value);
   return result.ec == std::errc{} && result.ptr == end ? std::optional{value} : std::nullopt;
}

// What is searched for the tools before PATH.
std::string toolPath(Config::Tools const & tools, StderrLog & log) {
   if (!tools.nvmeCompat)
      return tools.path;
   std::string const filter = helperProgram(Helper::nvmeFilter).parent_path();
   if (filter.empty()) {
      log.notice(severityWarning,
                 "the nvme filter is not installed beside this program, so versions of nvme-cli that print "
                 "other layouts go unread; install it, or set tools.nvme_compat = false");
      return tools.path;
   }
   return tools.path.empty() ? filter : filter + ":" + tools.path;
}

}  // namespace

Pelm::Ptr<Brul::ChildProcessTrackerSm> StorageAgent::trackerOf(Config const & config, StderrLog & log) {
   auto tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   tracker->toolPathIs(Pelm::String{toolPath(config.tools, log)});
   tracker->timeLimitIs(config.tools.timeout);
   tracker->failurePolicyIs(
       [accepted = config.tools.acceptExitBits](Pelm::String const & program, int exitCode) {
          auto const bits = accepted.find(program.str());
          return bits == accepted.end() || (exitCode & ~int{bits->second}) != 0;
       });
   return tracker;
}

StorageAgent::StorageAgent(Config const & config, StderrLog & log)
    : config_{config},
      log_{log},
      lastTurn_{Host::monotonicSeconds()},
      tracker_{trackerOf(config, log)},
      monitors_{config, tracker_,
                [this](int severity, std::string const & text) { log_.notice(severity, text); }} {
   Host::timeSourceIs(std::make_unique<Host::RealTime>(config.timeScale));
   for (auto const & [facility, level] : config.trace)
      Host::traceLevelIs(facility, level);
   Host::logSinkIs([this](Host::LogMessage const & message) {
      messages_.add(message);
      log_.message(message);
   });
   auto const handler = [this](HttpRequest const & request) { return answer(request); };
   servers_.push_back(std::make_unique<HttpServer>(ListenSocket::atPath(config.status.socket), handler));
   if (config.status.http) {
      servers_.push_back(std::make_unique<HttpServer>(ListenSocket::atAddress(*config.status.http), handler));
      if (!config.status.http->loopback())
         log_.notice(severityWarning, "status is served to other machines on " + config.status.http->text());
   }
}

StorageAgent::~StorageAgent() {
   // What is told of the end of monitors is not for a store that goes with them.
   Host::logSinkIs([log = &log_](Host::LogMessage const & message) { log->message(message); });
}

void StorageAgent::run() {
   log_.notice(severityInfo,
               std::string{"version "} + version + " started; status on " + config_.status.socket);
   Host::turn(0);  // from here on it counts as at work, the start of the monitors included
   watchdog_.emplace(log_, serviceManager_);
   monitors_.start();
   serviceManager_.tell("READY=1");
   while (!Host::stopRequested()) {
      Host::turn();
      lastTurn_ = Host::monotonicSeconds();
   }
   serviceManager_.tell("STOPPING=1");
   log_.notice(severityInfo, "stopping");
}

HttpAnswer StorageAgent::answer(HttpRequest const & request) const {
   if (request.path == "/api/v1/state")
      return state(request);
   if (request.path == "/api/v1/messages")
      return messages(request);
   if (request.path == "/healthz") {
      // That it is answered at all is the proof of life: a loop that is held does not answer.
      return {200, "application/json", livenessDocument(lastTurnAge(), holds())};
   }
   if (request.path == "/metrics")
      return {200, metricsType, metricsText(lastTurnAge(), holds())};
   return {404, "text/plain", "not served here; try /api/v1/state, /api/v1/messages, /metrics or /healthz\n"};
}

double StorageAgent::lastTurnAge() const {
   return Host::monotonicSeconds() - lastTurn_;
}

Holds StorageAgent::holds() const {
   return watchdog_ ? watchdog_->holds() : Holds{};
}

HttpAnswer StorageAgent::state(HttpRequest const & request) const {
   char const * const argument = request.argument("history");
   auto const history = argument ? wholeNumber(argument) : std::optional<std::uint64_t>{SIZE_MAX};
   if (!history)
      return {400, "text/plain", "history: must be a whole number, 0 or more\n"};
   return {200, "application/json",
           stateDocument({monitors_.internalDevicesReady(), Vorn::System::currentTimeUtc().value(),
                          monitors_.entities(), monitors_.ioStatErrors(), toolRuns_, readings_,
                          monitors_.recordKeepers()},
                         *history)};
}

HttpAnswer StorageAgent::messages(HttpRequest const & request) const {
   char const * const after = request.argument("after");
   auto const sequence = after ? wholeNumber(after) : std::optional<std::uint64_t>{0};
   if (!sequence)
      return {400, "text/plain", "after: must be a whole number, 0 or more\n"};
   return {200, "application/json", messages_.json(*sequence)};
}

}  // namespace Agent
