#include "agent/documents/DiskMetrics.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "agent/documents/KeyedMetrics.h"

namespace Agent {

namespace {

using StorageDevices::ConnectedDisk;
using StorageDevices::SmartAttr;

struct Unit {
   Entities const & entities;
   Verdicts const & verdicts;
   Readings const & readings;

   bool isConnected(Pelm::String const & serial) const { return entities.devices->disk.contains(serial); }
   Pelm::Ptr<DiskFigures const> figures(Pelm::String const & serial) const {
      return verdicts.disks().figures(serial);
   }
   // Empty for a disk that is gone.
   DiskRecords records(Pelm::String const & serial) const {
      return isConnected(serial) ? healthRecordsOf(serial, entities) : DiskRecords{};
   }
};

char const * truthWord(bool value) {
   return value ? "true" : "false";
}

// An eMMC device has no bus of its own in the record.
std::string busWord(ConnectedDisk const & disk) {
   bool const isEmmc =
       disk.busType() == ConnectedDisk::BusType::other && disk.mibType() == EntityMib::StorageType::eMmc;
   return isEmmc ? "emmc" : disk.busType().stringValue().str();
}

void addInfo(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   if (auto const figures = unit.figures(serial)) {
      ConnectedDisk const & disk = *figures->disk;
      series.add(
          {serial.view(), disk.model().view(), disk.firmwareRevision().view(), disk.blockDevice().view(),
           disk.mountPoint().view(), busWord(disk), truthWord(disk.removable())},
          1);
   }
}

void addVerdict(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   if (auto const found = unit.verdicts.disks().verdict(serial))
      for (Verdict const each : everyVerdict)
         series.add({serial.view(), verdictWord(each)}, each == found->verdict() ? 1 : 0);
}

void addReasons(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   if (auto const found = unit.verdicts.disks().verdict(serial))
      for (Reason const & reason : found->reasons())
         series.add({serial.view(), reason.code}, 1);
}

void addSize(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   constexpr double gigabyte = 1e9;
   auto const figures = unit.figures(serial);
   if (figures && figures->disk->sizeGb() > 0)
      series.add({serial.view()}, figures->disk->sizeGb() * gigabyte);
}

// The last figures of a disk that is gone are no measurements of now.
template <std::optional<double> DiskFigures::*figure>
std::optional<double> figureOf(Unit const & unit, Pelm::String const & serial) {
   auto const figures = unit.isConnected(serial) ? unit.figures(serial) : nullptr;
   return figures ? (*figures).*figure : std::nullopt;
}

template <std::optional<double> DiskFigures::*figure>
void addFigure(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   series.add({serial.view()}, figureOf<figure>(unit, serial));
}

void addPowerOn(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   constexpr double secondsPerHour = 3600;
   if (auto const hours = figureOf<&DiskFigures::powerOnHours>(unit, serial))
      series.add({serial.view()}, *hours * secondsPerHour);
}

void addLife(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   constexpr double whole = 100;
   if (auto const percent = figureOf<&DiskFigures::lifeLeft>(unit, serial))
      series.add({serial.view()}, *percent / whole);
}

void addIoRead(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   auto const history = unit.records(serial).ioStat;
   if (auto const newest = history ? history->topMeasurement() : std::nullopt)
      series.add({serial.view()}, static_cast<double>(newest->bytesRead));
}

void addLastRead(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   for (Reading const & reading : unit.readings.of(serial))
      if (reading.lastGood)
         series.add({serial.view(), reading.source}, reading.lastGood->value());
}

void addNvme(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   if (auto const record = unit.records(serial).nvme)
      for (StorageDevices::NvmeField const & field : StorageDevices::nvmeFields)
         if (auto const & attr = (*record.*field.cell)(); !attr.name.empty())
            series.add({serial.view(), field.key}, static_cast<double>(attr.value));
}

void addRow(MetricSeries & series, Pelm::String const & serial, SmartAttr const & attr) {
   std::string const id = std::to_string(attr.id);
   auto const add = [&](char const * kind, auto value) {
      series.add({serial.view(), id, attr.name.view(), kind}, static_cast<double>(value));
   };
   add("value", attr.value);
   add("worst", attr.worst);
   add("threshold", attr.thresh);
   add("raw", attr.raw);
}

// Whether a named field has a row of that number and name: of two such rows only the first has series.
bool isRepeated(StorageDevices::DeviceSmartData const & record, SmartAttr const & row) {
   return std::any_of(std::begin(StorageDevices::smartFields), std::end(StorageDevices::smartFields),
                      [&](StorageDevices::SmartField const & field) {
                         auto const & attr = (record.*field.cell)();
                         return attr && attr->id == row.id && attr->name == row.name;
                      });
}

void addSmart(MetricSeries & series, Unit const & unit, Pelm::String const & serial) {
   auto const record = unit.records(serial).smart;
   if (!record)
      return;
   for (StorageDevices::SmartField const & field : StorageDevices::smartFields)
      if (auto const & attr = (*record.*field.cell)())
         addRow(series, serial, *attr);
   for (auto const & [id, attr] : record->unknownAttr)
      if (!isRepeated(*record, attr))
         addRow(series, serial, attr);
}

constexpr KeyedFamily<Unit> diskFamilies[] = {
    {&Metric::diskInfo, addInfo},
    {&Metric::diskVerdict, addVerdict},
    {&Metric::diskReason, addReasons},
    {&Metric::diskSize, addSize},
    {&Metric::diskTemperature, addFigure<&DiskFigures::temperature>},
    {&Metric::diskPowerOn, addPowerOn},
    {&Metric::diskLife, addLife},
    {&Metric::diskWritten, addFigure<&DiskFigures::bytesWritten>},
    {&Metric::diskIoRead, addIoRead},
    {&Metric::diskIoWritten, addFigure<&DiskFigures::bytesWrittenSinceBoot>},
    {&Metric::diskLastRead, addLastRead},
    {&Metric::diskNvme, addNvme},
    {&Metric::diskSmart, addSmart},
};

}  // namespace

MetricSources diskMetrics(StateSources const & sources) {
   Unit const unit{sources.entities, sources.verdicts, sources.readings};
   return keyedMetrics<Unit>(diskFamilies, unit, sources.verdicts.disks().verdict);
}

}  // namespace Agent
