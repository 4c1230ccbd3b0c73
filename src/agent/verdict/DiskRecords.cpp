#include "agent/verdict/DiskRecords.h"

namespace Agent {

namespace {

using Environment::Temperature::TempSensorStatus;
using StorageDevices::MountPtMonitorSm;
using BusType = StorageDevices::ConnectedDisk::BusType;

Pelm::Ptr<TempSensorStatus const> sensorOf(Entities const & entities, Pelm::String const & serial) {
   auto const name = entities.fruConfig->serialToSensorMap(serial);
   if (!name || driveOf(entities, *name) != serial || !hasRecord(entities, serial))
      return nullptr;
   auto const entity = entities.sensorStatus->entityPtr(*name);
   return Pelm::Ptr<TempSensorStatus const>{dynamic_cast<TempSensorStatus const *>(entity.get())};
}

// The monitor looks every five minutes, and after a fault once a day. So the table is asked while a fault is
// known.
MountFault faultOf(MountPtMonitorSm const & monitor) {
   auto const & test = monitor.fsHealthSm();
   if (monitor.initialMountFailuresRemaining() > 0 || (test && test->running()))
      return MountFault::none;
   auto const mount = monitor.helper()->mountState(monitor.mountPt());
   if (!mount.mounted)
      return MountFault::gone;
   if (mount.readOnly)
      return MountFault::readOnly;
   bool const changed = !monitor.mountPtDevice().empty() && mount.device != monitor.mountPtDevice();
   return changed ? MountFault::changed : MountFault::none;
}

void addMount(DiskRecords & records, MountPtMonitorSm const & monitor, FileSystemTests & tests) {
   records.fileSystem = monitor.fsHealthSm();
   records.test = tests.look(monitor);
   records.mount = faultOf(monitor);
}

void addHealth(DiskRecords & records, Pelm::String const & serial, Entities const & entities) {
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
}

}  // namespace

DiskRecords recordsOf(Pelm::String const & serial, Entities const & entities, Readings const & readings,
                      StorageDevices::MountPtMonitorManagerSm const * manager, FileSystemTests & tests) {
   DiskRecords records;
   records.disk = entities.devices->disk(serial);
   addHealth(records, serial, entities);
   Pelm::String const & mountPoint = records.disk->mountPoint();
   auto const monitor = manager ? manager->mountPtMonitorSm(mountPoint) : nullptr;
   if (monitor && entities.devices->getDiskMountedAt(mountPoint) == serial)
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
