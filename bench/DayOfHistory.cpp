// Preloaded into the agent: adds an hour of earlier measurements to each measurement of a disk, one per
// second, until the history has a day. The memory use is that of the field.
#include <dlfcn.h>

#include <algorithm>
#include <map>
#include <utility>

#include "runtime/Vorn/Seconds.h"
#include "runtime/model/IOStatData.h"

namespace {

constexpr double day = 86400;
constexpr double hour = 3600;

using Record = void (*)(StorageDevices::IOStat *, Vorn::Seconds, std::uint64_t, std::uint64_t);

std::map<StorageDevices::IOStat *, double> & nextOf() {
   static std::map<StorageDevices::IOStat *, double> times;
   return times;
}

}  // namespace

// Replaces the runtime's function.
void StorageDevices::IOStat::recordMeasurement(Vorn::Seconds time, std::uint64_t bytesRead,
                                               std::uint64_t bytesWritten) {
   static auto const record = reinterpret_cast<Record>(
       dlsym(RTLD_NEXT, "_ZN14StorageDevices6IOStat17recordMeasurementEN4Vorn7SecondsEmm"));
   double & next = nextOf().try_emplace(this, time.value() - day).first->second;
   double const end = std::min(next + hour, time.value());
   while (next < end)
      record(this, std::exchange(next, next + 1), bytesRead, bytesWritten);
   record(this, time, bytesRead, bytesWritten);
}
