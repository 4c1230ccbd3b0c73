#include "agent/documents/AgentMetrics.h"

#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>

#include "StorageDevices/LogCatalogue.h"
#include "base/Version.h"

namespace Agent {

namespace {

namespace Catalogue = StorageDevices::Catalogue;

// A family with one series, without labels.
MetricFamilySource single(MetricDefinition const & definition, std::optional<double> value) {
   return {&definition, wholeSeries([value](MetricSeries & series) { series.add({}, value); })};
}

double number(std::uint64_t count) {
   return static_cast<double>(count);
}

MetricFamilySource messageCounts(MessageStore const & messages) {
   return {&Metric::messages, wholeSeries([&messages](MetricSeries & series) {
              for (Vorn::LogDescriptor const & message : Catalogue::all)
                 series.add({message.name}, number(messages.count(message.name)));
           })};
}

MetricFamilySource toolRuns(ToolRuns const & tools) {
   return {&Metric::toolRuns, wholeSeries([&tools](MetricSeries & series) {
              for (auto const & [name, runs] : tools.byTool()) {
                 series.add({name, "ok"}, number(runs.ok));
                 series.add({name, "failed"}, number(runs.failed));
                 series.add({name, "timed_out"}, number(runs.timedOut));
              }
           })};
}

MetricFamilySource toolRunSeconds(ToolRuns const & tools) {
   return {&Metric::toolRunSeconds, wholeSeries([&tools](MetricSeries & series) {
              for (auto const & [name, runs] : tools.byTool())
                 series.add({name}, runs.seconds.Collect());
           })};
}

// Without a forwarder none were received. Others may send lines to the library too.
MetricFamilySource kernelLines(MetricsInputs const & inputs) {
   auto const reported = inputs.messages.count(Catalogue::ioError.name) +
                         inputs.messages.count(Catalogue::ioErrorExternalUsb.name);
   return {&Metric::kernelLines, wholeSeries([lines = inputs.state.kernelLines.value_or(KernelLineCounts{}),
                                              reported](MetricSeries & series) {
              series.add({"received"}, number(lines.received));
              series.add({"rewritten"}, number(lines.rewritten));
              series.add({"dropped"}, number(lines.dropped));
              series.add({"reported"}, number(reported));
           })};
}

MetricFamilySource lastStall(std::optional<Stall> const & stall) {
   return {&Metric::loopLastStall, wholeSeries([stall](MetricSeries & series) {
              if (stall)
                 series.add({stall->operation, stall->path}, stall->duration.value());
           })};
}

std::optional<double> residentBytes() {
   std::ifstream statm{"/proc/self/statm"};
   std::uint64_t total = 0;
   std::uint64_t resident = 0;
   if (!(statm >> total >> resident))
      return std::nullopt;
   return number(resident) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

std::optional<double> cpuSeconds() {
   constexpr double inSecond = 1e6;
   rusage usage{};
   if (getrusage(RUSAGE_SELF, &usage) != 0)
      return std::nullopt;
   auto const seconds = static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec);
   auto const microseconds = static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
   return (seconds * inSecond + microseconds) / inSecond;
}

// Without the one that lists them.
std::optional<double> openDescriptors() {
   std::error_code error;
   double count = -1;
   for (auto entry = std::filesystem::directory_iterator{"/proc/self/fd", error};
        !error && entry != std::filesystem::directory_iterator{}; entry.increment(error))
      ++count;
   return error ? std::nullopt : std::optional{count};
}

}  // namespace

MetricSources unitMetrics(MetricsInputs const & inputs) {
   return {{&Metric::buildInfo, wholeSeries([](MetricSeries & series) { series.add({Base::version}, 1); })},
           {&Metric::unitVerdict,
            wholeSeries([verdict = inputs.state.verdicts.unit().verdict](MetricSeries & series) {
               for (Verdict const each : everyVerdict)
                  series.add({verdictWord(each)}, each == verdict ? 1 : 0);
            })}};
}

MetricSources agentMetrics(MetricsInputs const & inputs) {
   Stalls const & stalls = inputs.stalls;
   return {messageCounts(inputs.messages),
           toolRuns(inputs.state.tools),
           toolRunSeconds(inputs.state.tools),
           kernelLines(inputs),
           single(Metric::loopStalls, number(stalls.count)),
           single(Metric::loopLongestStall, stalls.longest.value()),
           lastStall(stalls.last),
           single(Metric::logLinesDropped, number(inputs.state.logLinesDropped))};
}

MetricSources processMetrics(MetricsInputs const & inputs) {
   return {single(Metric::processMemory, residentBytes()), single(Metric::processCpu, cpuSeconds()),
           single(Metric::processOpenFds, openDescriptors()),
           single(Metric::processStart, (inputs.started + inputs.state.readings.utcOffset()).value())};
}

}  // namespace Agent
