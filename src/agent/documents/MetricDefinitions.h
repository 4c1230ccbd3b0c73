// The metrics that the agent serves: a row each. The answer and storagedevices-metrics(7) are made from this
// table, docs/metrics.md and the tests are compared with it. Names, types and labels are a contract, since
// rules and dashboards of others read them.
//
// A label value is escaped as in the log. A disk's label `serial` joins its series with
// `storagedevices_disk_info`. A value that was never read has no series.
#pragma once

#include <prometheus/metric_type.h>

#include <array>

namespace Agent {

struct MetricDefinition {
   char const * name;
   prometheus::MetricType type;
   std::array<char const *, 7> labels;  // null after the last
   char const * help;                   // one sentence, without a backslash
};

// As the answer and the documents name it.
constexpr char const * typeWord(prometheus::MetricType type) {
   using enum prometheus::MetricType;
   return type == Counter ? "counter" : type == Histogram ? "histogram" : "gauge";
}

namespace Metric {

using enum prometheus::MetricType;

inline constexpr MetricDefinition buildInfo{
    "storagedevices_build_info", Gauge, {"version"}, "The agent's version; always 1."};
inline constexpr MetricDefinition unitVerdict{
    "storagedevices_unit_verdict", Gauge, {"verdict"}, "1 for the verdict on the unit, 0 for the others."};

// Of a disk. What is not said to stay ends when the disk is removed; all of it ends when it is forgotten.
inline constexpr MetricDefinition diskInfo{
    "storagedevices_disk_info",
    Gauge,
    {"serial", "model", "firmware", "device", "mount_point", "bus", "removable"},
    "What a disk is and where it belongs; always 1, and stays while the disk is absent."};
inline constexpr MetricDefinition diskVerdict{
    "storagedevices_disk_verdict",
    Gauge,
    {"serial", "verdict"},
    "1 for the verdict on the disk, 0 for the others; stays while the disk is absent."};
inline constexpr MetricDefinition diskReason{"storagedevices_disk_reason",
                                             Gauge,
                                             {"serial", "code"},
                                             "1 while the reason for the disk's verdict holds."};
inline constexpr MetricDefinition diskSize{
    "storagedevices_disk_size_bytes",
    Gauge,
    {"serial"},
    "Capacity, rounded to gigabytes of 10^9 bytes; stays while the disk is absent."};
inline constexpr MetricDefinition diskTemperature{"storagedevices_disk_temperature_celsius",
                                                  Gauge,
                                                  {"serial"},
                                                  "Temperature of its sensor, else as the drive reports it."};
inline constexpr MetricDefinition diskPowerOn{
    "storagedevices_disk_power_on_seconds", Gauge, {"serial"}, "Time powered on, in steps of an hour."};
inline constexpr MetricDefinition diskLife{"storagedevices_disk_life_remaining_ratio",
                                           Gauge,
                                           {"serial"},
                                           "Part of the rated life that is left, 0 to 1."};
inline constexpr MetricDefinition diskWritten{"storagedevices_disk_written_bytes_total",
                                              Counter,
                                              {"serial"},
                                              "Bytes written in the drive's life, as the drive counts them."};
inline constexpr MetricDefinition diskIoRead{
    "storagedevices_disk_io_read_bytes_total",
    Counter,
    {"serial"},
    "Bytes read since the disk appeared to the kernel, as the kernel counts them."};
inline constexpr MetricDefinition diskIoWritten{
    "storagedevices_disk_io_written_bytes_total",
    Counter,
    {"serial"},
    "Bytes written since the disk appeared to the kernel, as the kernel counts them."};
inline constexpr MetricDefinition diskLastRead{
    "storagedevices_disk_last_read_timestamp_seconds",
    Gauge,
    {"serial", "source"},
    "Time of the latest good reading from smartctl, nvme, emmc or iostat, in seconds since 1970 UTC."};
inline constexpr MetricDefinition diskNvme{"storagedevices_disk_nvme_counter",
                                           Gauge,
                                           {"serial", "name"},
                                           "A value of the NVMe smart log, by its name there."};
inline constexpr MetricDefinition diskSmart{
    "storagedevices_disk_smart_attribute",
    Gauge,
    {"serial", "id", "name", "kind"},
    "A row of the SMART table: kind is value, worst, threshold or raw; threshold 0 is none."};

// Of a mount point whose disk is connected and tested.
inline constexpr MetricDefinition mountTestOk{
    "storagedevices_mount_test_ok",
    Gauge,
    {"mount_point", "phase"},
    "Whether the latest test of the file system wrote its block, and read the same back: 1 or 0."};
inline constexpr MetricDefinition mountTestErrors{"storagedevices_mount_test_errors_total",
                                                  Counter,
                                                  {"mount_point"},
                                                  "Tests of the file system that failed."};
inline constexpr MetricDefinition mountFull{
    "storagedevices_mount_full",
    Gauge,
    {"mount_point"},
    "1 from the warning about a nearly full file system until its use has fallen, else 0."};
inline constexpr MetricDefinition mountMissing{
    "storagedevices_mount_missing",
    Gauge,
    {"mount_point"},
    "1 while no disk is connected for a mount point that is expected."};

// Of the agent, since its start.
inline constexpr MetricDefinition messages{
    "storagedevices_messages_total", Counter, {"name"}, "Log messages, by their name in the catalogue."};
inline constexpr MetricDefinition toolRuns{
    "storagedevices_tool_runs_total",
    Counter,
    {"tool", "result"},
    "Ended runs of a tool: ok, failed, or timed_out at the time limit."};
inline constexpr MetricDefinition toolRunSeconds{
    "storagedevices_tool_run_seconds", Histogram, {"tool"}, "Duration of the ended runs of a tool."};
inline constexpr MetricDefinition kernelLines{
    "storagedevices_kernel_lines_total",
    Counter,
    {"result"},
    "Lines of the kernel's log: received, of these rewritten or dropped, and reported in a log message."};
inline constexpr MetricDefinition loopStalls{
    "storagedevices_loop_stalls_total",
    Counter,
    {},
    "Stalls: turns of the agent's loop that took five seconds or longer."};
inline constexpr MetricDefinition loopLongestStall{"storagedevices_loop_longest_stall_seconds",
                                                   Gauge,
                                                   {},
                                                   "Duration of the longest stall of the agent's loop."};
inline constexpr MetricDefinition loopLastStall{
    "storagedevices_loop_last_stall_seconds",
    Gauge,
    {"operation", "path"},
    "Duration of the latest stall of the agent's loop, and the call that took most of it."};
inline constexpr MetricDefinition logLinesDropped{"storagedevices_log_lines_dropped_total",
                                                  Counter,
                                                  {},
                                                  "Lines of the log that its destination did not accept."};

// Of its process, under the names that exporters share.
inline constexpr MetricDefinition processMemory{
    "process_resident_memory_bytes", Gauge, {}, "Resident memory of the agent."};
inline constexpr MetricDefinition processCpu{
    "process_cpu_seconds_total", Counter, {}, "CPU time of the agent, without its tools."};
inline constexpr MetricDefinition processOpenFds{
    "process_open_fds", Gauge, {}, "Open file descriptors of the agent."};
inline constexpr MetricDefinition processStart{
    "process_start_time_seconds", Gauge, {}, "Start of the agent, in seconds since 1970 UTC."};

// In the order of the answer.
inline constexpr std::array all{
    &buildInfo,        &unitVerdict,   &diskInfo,        &diskVerdict,    &diskReason,      &diskSize,
    &diskTemperature,  &diskPowerOn,   &diskLife,        &diskWritten,    &diskIoRead,      &diskIoWritten,
    &diskLastRead,     &diskNvme,      &diskSmart,       &mountTestOk,    &mountTestErrors, &mountFull,
    &mountMissing,     &messages,      &toolRuns,        &toolRunSeconds, &kernelLines,     &loopStalls,
    &loopLongestStall, &loopLastStall, &logLinesDropped, &processMemory,  &processCpu,      &processOpenFds,
    &processStart};

}  // namespace Metric

}  // namespace Agent
