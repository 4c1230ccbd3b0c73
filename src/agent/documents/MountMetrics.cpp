#include "agent/documents/MountMetrics.h"

#include <string>

#include "agent/documents/KeyedMetrics.h"

namespace Agent {

namespace {

using StorageDevices::FsHealthSm;
using StorageDevices::MountPtMonitorManagerSm;

struct Mounts {
   MountedDisks const & disks;
   FileSystemTests const & tests;
   Pelm::Ptr<MountPtMonitorManagerSm const> manager;

   // Null where nothing is tested, or whose disk is gone.
   Pelm::Ptr<FsHealthSm const> test(Pelm::String const & mountPoint) const {
      auto const monitor = manager->mountPtMonitorSm(mountPoint);
      bool const hasDisk = monitor && !disks.at(mountPoint).empty();
      return hasDisk ? monitor->fsHealthSm() : nullptr;
   }
};

double truth(bool value) {
   return value ? 1 : 0;
}

void addPhase(MetricSeries & series, Pelm::String const & mountPoint, char const * phase,
              std::optional<bool> ok) {
   if (ok)
      series.add({mountPoint.view(), phase}, truth(*ok));
}

void addTestOk(MetricSeries & series, Mounts const & mounts, Pelm::String const & mountPoint) {
   if (!mounts.test(mountPoint))
      return;
   auto const result = mounts.tests.latest(mountPoint);
   addPhase(series, mountPoint, "write", FileSystemTests::wrote(result));
   addPhase(series, mountPoint, "read", FileSystemTests::readBack(result));
}

void addTestErrors(MetricSeries & series, Mounts const & mounts, Pelm::String const & mountPoint) {
   if (mounts.test(mountPoint))
      series.add({mountPoint.view()}, static_cast<double>(mounts.tests.failures(mountPoint)));
}

void addFull(MetricSeries & series, Mounts const & mounts, Pelm::String const & mountPoint) {
   if (auto const test = mounts.test(mountPoint))
      series.add({mountPoint.view()}, truth(test->utilThresholdExceeded()));
}

constexpr KeyedFamily<Mounts> mountFamilies[] = {{&Metric::mountTestOk, addTestOk},
                                                 {&Metric::mountTestErrors, addTestErrors},
                                                 {&Metric::mountFull, addFull}};

}  // namespace

MetricSources mountMetrics(StateSources const & sources) {
   MetricSources result;
   if (auto const * const manager = sources.keepers.mountPoints) {
      Mounts const mounts{sources.verdicts.mountedDisks(), sources.verdicts.fileSystemTests(),
                          Pelm::Ptr<MountPtMonitorManagerSm const>{manager}};
      result = keyedMetrics<Mounts>(mountFamilies, mounts, manager->mountPtMonitorSm);
   }
   result.push_back({&Metric::mountMissing,
                     wholeSeries([missing = sources.verdicts.unit().missing](MetricSeries & series) {
                        for (std::string const & mountPoint : missing)
                           series.add({mountPoint}, 1);
                     })});
   return result;
}

}  // namespace Agent
