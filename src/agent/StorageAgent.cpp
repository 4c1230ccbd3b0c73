#include "agent/StorageAgent.h"

#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "agent/config/ConfigChange.h"
#include "agent/documents/HistoryDocument.h"
#include "agent/documents/LivenessDocument.h"
#include "agent/documents/MessagesDocument.h"
#include "agent/documents/Metrics.h"
#include "agent/documents/StateDocument.h"
#include "agent/page/PageFiles.h"
#include "base/Number.h"
#include "base/Text.h"
#include "base/Version.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

// The number of measurements that the argument requests for each disk; empty: it is no number.
std::optional<std::size_t> historyOf(char const * argument) {
   if (argument == nullptr)
      return usualHistory;
   return std::string_view{argument} == "all" ? SIZE_MAX : Base::parseWhole<std::size_t>(argument);
}

// The number of the message that a client got last, by its own account; 0 where it gives none. Empty: it is
// no number.
std::optional<std::uint64_t> sequenceOf(char const * argument) {
   return argument ? Base::parseWhole<std::uint64_t>(argument) : std::optional<std::uint64_t>{0};
}

// The hours that the argument requests; without it all that are kept. Empty: it is no such number.
std::optional<unsigned> hoursOf(char const * argument) {
   constexpr unsigned most = 8760;
   if (argument == nullptr)
      return most;
   auto const hours = Base::parseWhole<unsigned>(argument);
   return hours && *hours >= 1 && *hours <= most ? hours : std::nullopt;
}

HttpAnswer jsonAnswer(std::unique_ptr<Document> document) {
   return {200, "application/json", {}, std::move(document)};
}

}  // namespace

void StorageAgent::toolsAre(Config::Tools const & tools) {
   StorageDevices::toolRulesIs(*tracker_, tools);
   if (tools.nvmeCompat && StorageDevices::nvmeFilterDirectory().empty())
      log_.notice(LOG_WARNING,
                  "the nvme filter is not installed beside the library, so the output of some versions of "
                  "nvme-cli cannot be read; install it, or set tools.nvme_compat = false");
}

void StorageAgent::traceLevelsAre(std::map<std::string, int> const & before) {
   for (auto const & [facility, level] : before)
      Vorn::Host::traceLevelIs(facility, 0);
   for (auto const & [facility, level] : config_.trace)
      Vorn::Host::traceLevelIs(facility, level);
}

StorageAgent::StorageAgent(Config config, AgentLog & log, Reread reread, std::string configFile)
    : config_{std::move(config)},
      log_{log},
      reread_{std::move(reread)},
      configuration_{std::move(configFile)},
      lastTurn_{Vorn::Host::monotonicSeconds()},
      signals_{[this] { reload(); }},
      monitors_{config_, tracker_,
                [this](int severity, std::string const & text) { log_.notice(severity, text); }} {
   toolsAre(config_.tools);
   Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::RealTime>(config_.timeScale));
   traceLevelsAre({});
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const & message) {
      messages_.add(message);
      events_.messageAdded();
      log_.message(message);
   });
   serve(ListenSocket::atPath(config_.status.socket, config_.status.socketGroup));
   if (config_.status.http) {
      serve(ListenSocket::atAddress(*config_.status.http), config_.status.http);
      if (!config_.status.http->loopback())
         log_.notice(LOG_WARNING, "status is served to other machines on " + config_.status.http->text());
   }
}

void StorageAgent::serve(ListenSocket socket, std::optional<Base::HttpAddress> const & address) {
   auto const handler = [this](HttpRequest const & request) { return answer(request); };
   auto const notice = [this](std::string const & text) { log_.notice(LOG_WARNING, text); };
   servers_.push_back(std::make_unique<HttpServer>(std::move(socket), handler, HttpOptions{address, notice}));
   servers_.back()->acceptingIs(false);
}

StorageAgent::~StorageAgent() {
   // Messages about the end of the monitors must not reach the store, which ends too.
   Vorn::Host::logSinkIs([log = &log_](Vorn::Host::LogMessage const & message) { log->message(message); });
}

void StorageAgent::run() {
   log_.notice(LOG_INFO,
               "version " + std::string{Base::version} + " started; status on " + config_.status.socket);
   Vorn::Host::turn(0);  // from here on the loop counts as busy, during the start of the monitors too
   watchdog_.emplace(log_, serviceManager_);
   historyFile_.emplace(
       config_.history.file, history_, [this] { return readings_.utcOffset(); },
       [this](int severity, std::string const & text) { log_.notice(severity, text); });
   monitors_.start();
   for (auto const & server : servers_)
      server->acceptingIs(true);
   serviceManager_.notify("READY=1");
   while (!Vorn::Host::stopRequested()) {
      Vorn::Host::turn();
      lastTurn_ = Vorn::Host::monotonicSeconds();
   }
   serviceManager_.notify("STOPPING=1");
   log_.notice(LOG_INFO, "stopping");
   historyFile_->write();
}

std::string StorageAgent::applyReread() {
   Config const before = config_;
   ConfigChange const change = applyConfig(config_, reread_());
   toolsAre(config_.tools);
   traceLevelsAre(before.trace);
   // The records of kernel errors and the verdicts may know different disks.
   if (monitors_.allDevicesKnown())
      history_.forgetGone();
   std::size_t const forgotten = std::max(monitors_.reload(before), verdicts_.forgetAbsent());
   return "configuration reloaded: " + changeText(change) +
          (forgotten == 0 ? "" : "; records of removed disks deleted: " + std::to_string(forgotten));
}

void StorageAgent::reload() {
   ConfigurationReport::Reload outcome{Vorn::System::currentTimeUtc().value(), true, {}};
   try {
      outcome.text = applyReread();
   } catch (ConfigError const & error) {
      outcome.good = false;
      outcome.text = std::string{error.what()} + "; the configuration stays as it was";
   }
   log_.notice(outcome.good ? LOG_INFO : LOG_ERR, outcome.text);
   configuration_.lastReload = std::move(outcome);
   ++configuration_.reloads;
}

HttpAnswer StorageAgent::answer(HttpRequest const & request) {
   if (request.path == "/api/v1/state")
      return state(request);
   if (request.path == "/api/v1/messages")
      return messages(request);
   if (request.path == "/api/v1/events")
      return events(request);
   if (request.path == "/api/v1/history")
      return history(request);
   if (request.path == "/healthz") {
      // The answer itself is the proof of life: a stalled loop does not answer.
      return {200, "application/json", livenessDocument(lastTurnAge(), stalls())};
   }
   if (request.path == "/metrics")
      return metrics();
   if (PageFile const * const file = pageFile(request.path))
      return {.contentType = contentType(file->path), .constant = file->text};
   return {404, "text/plain",
           "not served here; try /, /api/v1/state, /api/v1/messages, /api/v1/events, /api/v1/history, "
           "/metrics or /healthz\n"};
}

Vorn::Seconds StorageAgent::lastTurnAge() const {
   return Vorn::Host::monotonicSeconds() - lastTurn_;
}

Stalls StorageAgent::stalls() const {
   return watchdog_ ? watchdog_->stalls() : Stalls{};
}

// With the verdicts of now.
StateSources StorageAgent::stateSources() {
   verdicts_.evaluateOnce();
   return {monitors_.internalDevicesReady(),
           Vorn::System::currentTimeUtc(),
           monitors_.entities(),
           monitors_.ioStatErrors(),
           toolRuns_,
           readings_,
           verdicts_,
           monitors_.recordKeepers(),
           monitors_.kernelLines(),
           log_.dropped(),
           configuration_};
}

HttpAnswer StorageAgent::state(HttpRequest const & request) {
   auto const history = historyOf(request.argument("history"));
   if (!history)
      return {400, "text/plain", "history: must be a whole number, 0 or more, or \"all\"\n"};
   return jsonAnswer(stateDocument(stateSources(), *history));
}

HttpAnswer StorageAgent::metrics() {
   return {200, metricsType, {}, metricsDocument({stateSources(), messages_, stalls(), started_})};
}

// Documents name a disk by its serial number as text.
std::optional<Pelm::String> StorageAgent::diskNamed(std::string_view text) const {
   auto const isNamed = [text](Pelm::String const & serial) {
      return Base::validUtf8(serial.view()) == text;
   };
   for (auto const & [serial, verdict] : verdicts_.disks().verdict)
      if (isNamed(serial))
         return serial;
   for (auto const & [serial, kept] : history_.disks())
      if (isNamed(serial))
         return serial;
   return std::nullopt;
}

HttpAnswer StorageAgent::history(HttpRequest const & request) {
   char const * const name = request.argument("disk");
   if (name == nullptr)
      return {400, "text/plain",
              "disk: must name a disk by its serial number, as in ?disk=SERIAL&hours=24\n"};
   auto const hours = hoursOf(request.argument("hours"));
   if (!hours)
      return {400, "text/plain", "hours: must be a whole number of hours, 1 to 8760\n"};
   verdicts_.evaluateOnce();
   auto const serial = diskNamed(name);
   if (!serial)
      return {404, "text/plain", "disk: no disk has this serial number; /api/v1/state names all disks\n"};
   return jsonAnswer(historyDocument(history_, *serial, *hours, readings_.utcOffset()));
}

HttpAnswer StorageAgent::messages(HttpRequest const & request) const {
   auto const after = sequenceOf(request.argument("after"));
   if (!after)
      return {400, "text/plain", "after: must be a whole number, 0 or more\n"};
   return jsonAnswer(messagesDocument(messages_, *after));
}

// A browser that connects again repeats the old argument beside the new number.
HttpAnswer StorageAgent::events(HttpRequest const & request) {
   auto const after =
       sequenceOf(request.lastEventId.empty() ? request.argument("after") : request.lastEventId.c_str());
   if (!after)
      return {400, "text/plain", "Last-Event-ID or after: must be a whole number, 0 or more\n"};
   return {200, "text/event-stream", {}, events_.stream(*after)};
}

}  // namespace Agent
