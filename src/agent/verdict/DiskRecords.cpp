#include "agent/verdict/DiskRecords.h"

#include <string_view>

namespace Agent {

namespace {

using Environment::Temperature::TempSensorStatus;
using StorageDevices::ConnectedDisk;
using StorageDevices::MountPtMonitorSm;
using BusType = ConnectedDisk::BusType;

Pelm::Ptr<TempSensorStatus const> sensorOf(Entities const & entities, Pelm::String const & serial) {
   auto const name = entities.fruConfig->serialToSensorMap(serial);
   if (!name || driveOf(entities, *name) != serial || !hasRecord(entities, serial))
      return nullptr;
   auto const entity = entities.sensorStatus->entityPtr(*name);
   return Pelm::Ptr<TempSensorStatus const>{dynamic_cast<TempSensorStatus const *>(entity.get())};
}

// The disk itself or a partition of it.
bool isOf(ConnectedDisk const & disk, std::string_view device) {
   std::string_view const own = disk.blockDevice().view();
   return device.starts_with(own) &&
          device.substr(own.size()).find_first_not_of("p0123456789") == std::string_view::npos;
}

// Of a disk that belongs elsewhere. What a name stands for that is no disk's (an array, a mapping) is not
// known.
bool isAnothers(std::string_view device, ConnectedDisk const & disk,
                StorageDevices::ConnectedDevices const & devices) {
   if (isOf(disk, device))
      return false;
   for (auto const & [serial, other] : devices.disk)
      if (other->mountPoint() != disk.mountPoint() && isOf(*other, device))
         return true;
   return false;
}

// The monitor checks every five minutes, and after a fault once a day. So the table is asked while a fault is
// known.
MountFault tableFault(MountPtMonitorSm const & monitor) {
   auto const mount = monitor.helper()->mountState(monitor.mountPt());
   if (!mount.mounted)
      return MountFault::gone;
   if (mount.readOnly)
      return MountFault::readOnly;
   bool const changed = !monitor.mountPtDevice().empty() && mount.device != monitor.mountPtDevice();
   return changed ? MountFault::changed : MountFault::none;
}

MountFault faultOf(MountPtMonitorSm const & monitor, ConnectedDisk const & disk) {
   auto const & test = monitor.fsHealthSm();
   if (monitor.initialMountFailuresRemaining() > 0)
      return MountFault::none;
   if (!test || !test->running())
      if (auto const fault = tableFault(monitor); fault != MountFault::none)
         return fault;
   bool const anothers = isAnothers(monitor.mountPtDevice().view(), disk, *monitor.devices());
   return anothers ? MountFault::changed : MountFault::none;
}

void addMount(DiskRecords & records, MountPtMonitorSm const & monitor, FileSystemTests & tests) {
   records.fileSystem = monitor.fsHealthSm();
   records.test = tests.sample(monitor, records.disk->name());
   records.mount = faultOf(monitor, *records.disk);
}

}  // namespace

DiskRecords healthRecordsOf(Pelm::String const & serial, Entities const & entities) {
   DiskRecords records;
   records.disk = entities.devices->disk(serial);
   auto const bus = records.disk->busType();
   if (bus == BusType::other)
      records.emmc = entities.emmc->deviceData(serial);
   else
      records.smart = entities.smart->deviceData(serial);
   if (bus == BusType::nvme)
      records.nvme = entities.nvme->deviceData(serial);
   records.ioStat = entities.ioStat->ioStatData(serial);
   records.sensor = sensorOf(entities, serial);
   records.kernelErrors = entities.kernelErrors->fsList(serial);
   return records;
}

DiskRecords recordsOf(Pelm::String const & serial, Entities const & entities, Readings const & readings,
                      StorageDevices::MountPtMonitorManagerSm const * manager, MountedDisks const & mounted,
                      FileSystemTests & tests) {
   DiskRecords records = healthRecordsOf(serial, entities);
   Pelm::String const & mountPoint = records.disk->mountPoint();
   auto const monitor = manager ? manager->mountPtMonitorSm(mountPoint) : nullptr;
   if (monitor && mounted.at(mountPoint) == serial)
      addMount(records, *monitor, tests);
   records.readings = readings.of(serial);
   records.utc = Vorn::System::currentTimeUtc();
   return records;
}

bool hasRecord(Entities const & entities, Pelm::String const & serial) {
   return entities.smart->deviceData.contains(serial) || entities.nvme->deviceData.contains(serial);
}

Pelm::String driveOf(Entities const & entities, Pelm::String const & sensor) {
   Pelm::String drive;
   for (auto const & [serial, mapped] : entities.fruConfig->serialToSensorMap)
      if (mapped == sensor && (drive.empty() || hasRecord(entities, serial)))
         drive = serial;
   return drive;
}

}  // namespace Agent
