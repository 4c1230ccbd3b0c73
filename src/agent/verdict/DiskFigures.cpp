#include "agent/verdict/DiskFigures.h"

#include <algorithm>
#include <string_view>
#include <tuple>

#include "runtime/model/HealthFigures.h"

namespace Agent {

namespace {

// A figure of a record that may not be there.
template <class Record>
std::optional<double> of(Pelm::Ptr<Record> const & record, std::optional<double> (*figure)(Record &)) {
   return record ? figure(*record) : std::nullopt;
}

std::optional<double> first(std::optional<double> a, std::optional<double> b) {
   return a ? a : b;
}

// A count below the bytes written since boot is in other units.
std::optional<double> bytesInLife(DiskRecords const & records, double sinceBoot) {
   auto const bytes =
       first(of(records.nvme, StorageDevices::bytesWritten), of(records.smart, StorageDevices::bytesWritten));
   return bytes && *bytes >= sinceBoot ? bytes : std::nullopt;
}

std::optional<Vorn::Seconds> lastRead(std::vector<Reading> const & readings) {
   std::optional<Vorn::Seconds> health;
   std::optional<Vorn::Seconds> use;
   bool healthIsRead = false;
   for (Reading const & reading : readings) {
      bool const ofUse = std::string_view{reading.source} == "iostat";
      auto & oldest = ofUse ? use : health;
      healthIsRead = healthIsRead || !ofUse;
      if (reading.lastGood)
         oldest = std::min(oldest.value_or(*reading.lastGood), *reading.lastGood);
   }
   return healthIsRead ? health : use;
}

}  // namespace

bool DiskFigures::isEq(DiskFigures const & other) const {
   auto const all = [](DiskFigures const & figures) {
      return std::tie(figures.disk, figures.temperature, figures.lifeLeft, figures.powerOnHours,
                      figures.bytesWritten, figures.bytesWrittenSinceBoot, figures.lastRead,
                      figures.readings);
   };
   return all(*this) == all(other);
}

std::optional<double> lifeLeft(DiskRecords const & records) {
   using StorageDevices::lifeLeft;
   return first(of(records.nvme, lifeLeft), first(of(records.smart, lifeLeft), of(records.emmc, lifeLeft)));
}

std::optional<double> temperature(DiskRecords const & records) {
   if (records.sensor && records.sensor->temperature())
      return records.sensor->temperature()->value();
   return first(of(records.nvme, StorageDevices::temperature),
                of(records.smart, StorageDevices::temperature));
}

Pelm::Ptr<DiskFigures const> figuresOf(DiskRecords const & records) {
   auto figures = Pelm::make<DiskFigures>();
   figures->disk = records.disk;
   figures->temperature = temperature(records);
   figures->lifeLeft = lifeLeft(records);
   figures->powerOnHours =
       first(of(records.nvme, StorageDevices::powerOnHours), of(records.smart, StorageDevices::powerOnHours));
   figures->bytesWrittenSinceBoot = of(records.ioStat, StorageDevices::bytesWritten);
   figures->bytesWritten = bytesInLife(records, figures->bytesWrittenSinceBoot.value_or(0));
   figures->lastRead = lastRead(records.readings);
   figures->readings = records.readings;
   return figures;
}

}  // namespace Agent
