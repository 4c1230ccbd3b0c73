#include "agent/documents/MonitorDocument.h"

#include <cstdint>
#include <cstring>
#include <utility>

#include "agent/verdict/DiskRecords.h"
#include "runtime/Vorn/Shortage.h"

namespace Agent {

namespace {

using Environment::Temperature::TempSensorConfig;
using Environment::Temperature::TempSensorStatus;

template <class Cell>
void writeCell(Base::JsonWriter & writer, Cell const & cell) {
   Base::writeMember(writer, cell.id(), cell());
}

void writeUnclassified(Base::JsonWriter & writer, StorageDevices::Unclassified const & device) {
   writer.StartObject();
   Base::writeMember(writer, "device", device.device.view());
   Base::writeMember(writer, "attempt", device.attempt.view());
   Base::writeMember(writer, "error", std::strerror(device.error));
   Base::writeMember(writer, "remedy", Vorn::shortageRemedy(device.error));
   writer.EndObject();
}

void writeChange(Base::JsonWriter & writer, StorageDevices::DeviceLifetimeChange const & change) {
   writer.StartObject();
   constexpr std::int64_t noFigure = -1;
   if (change.lastValue() != noFigure) {
      writeCell(writer, change.lastValue);
      Base::writeMember(writer, change.timestamp.id(), change.timestamp().value());
      writeCell(writer, change.lastBytesWritten);
   }
   writeCell(writer, change.numPastLogs);
   writeCell(writer, change.firstDropDetected);
   writer.EndObject();
}

void writeInfo(Base::JsonWriter & writer, StorageDevErrorSyslogInfo const & info) {
   writer.StartObject();
   Base::writeMember(writer, "blockDevice", info.blockDevice().view());
   Base::writeMember(writer, "interfaceAndAddress", info.interfaceAndAddress().view());
   Base::writeMember(writer, info.kernelDevName.id(), info.kernelDevName().view());
   Base::writeMember(writer, info.model.id(), info.model().view());
   Base::writeMember(writer, info.firmwareRevision.id(), info.firmwareRevision().view());
   Base::writeMember(writer, "removable", info.removable());
   Base::writeMember(writer, info.syslogTimestamp.id(), info.syslogTimestamp().value());
   writeCell(writer, info.disconnectCount);
   writer.EndObject();
}

void writeRange(Base::JsonWriter & writer, TempSensorStatus const & status) {
   // Both are 0 until the first reading came with a range.
   if (status.minTemperature().value() >= status.maxTemperature().value())
      return;
   Base::writeMember(writer, "min", status.minTemperature().value());
   Base::writeMember(writer, "max", status.maxTemperature().value());
}

void writeSensor(Base::JsonWriter & writer, TempSensorConfig const & config, TempSensorStatus const & status,
                 Pelm::String const & drive, bool present,
                 StorageDevices::TempSensorSm::Wrapper const * wrapper) {
   bool const shown = present && status.temperature();
   writer.StartObject();
   Base::writeMember(writer, "drive", drive.view());
   if (shown)
      Base::writeMember(writer, status.temperature.id(), status.temperature()->value());
   writeRange(writer, status);
   Base::writeMember(writer, "overheat", config.overheat().value());
   Base::writeMember(writer, "critical", config.critical().value());
   if (wrapper)
      Base::writeMember(writer, wrapper->unrealisticTempChangeThreshold.id(),
                        wrapper->unrealisticTempChangeThreshold().value());
   auto const alarm = shown ? status.alarm() : TempSensorStatus::Alarm{TempSensorStatus::Alarm::none};
   Base::writeMember(writer, status.alarm.id(), alarm.stringValue().view());
   writer.EndObject();
}

void writeFsHealth(Base::JsonWriter & writer, StorageDevices::FsHealthSm const & test) {
   writer.StartObject();
   Base::writeMember(writer, test.state.id(), test.state().stringValue().view());
   writeCell(writer, test.running);
   writeCell(writer, test.writeTestOk);
   writeCell(writer, test.readTestOk);
   writeCell(writer, test.nonSyslogErrorCount);
   writeCell(writer, test.eagainErrorCount);
   writeCell(writer, test.utilThresholdExceeded);
   writer.EndObject();
}

void writeMountPoint(Base::JsonWriter & writer, StorageDevices::MountPtMonitorSm const & monitor) {
   writer.StartObject();
   if (!monitor.mountPtDevice().empty())
      Base::writeMember(writer, "device", monitor.mountPtDevice().view());
   if (monitor.mountPtDeviceBlkSize() != 0)
      Base::writeMember(writer, "blkSize", monitor.mountPtDeviceBlkSize());
   writeCell(writer, monitor.initialMountFailuresRemaining);
   if (auto const & test = monitor.fsHealthSm()) {
      writer.Key("fsHealth");
      writeFsHealth(writer, *test);
   }
   writer.EndObject();
}

}  // namespace

JsonValue discoveryJson(StorageDevices::ConnectedDevicesSm const * discovery) {
   JsonValue devices = JsonMembers{};
   if (discovery)
      devices = jsonObject(discovery->unclassifiedDevice, writeUnclassified);
   return JsonMembers{}
       .add("anonymousRemovalCount", numberJson(discovery ? discovery->anonymousRemovalCount() : 0))
       .add("unclassifiedDevices", std::move(devices));
}

JsonValue lifetimeChangesJson(StorageDevices::DeviceLifetimeMonitorSm const * monitor) {
   if (!monitor)
      return JsonMembers{};
   return jsonObject(monitor->deviceLifetimeChange, writeChange);
}

JsonValue storageDevicesInfoJson(StorageDevicesInfo const & info) {
   return JsonMembers{}.add(info.fsList.id(), jsonObject(info.fsList, writeInfo));
}

JsonValue temperatureJson(Entities const & entities, StorageDevices::TempSensorSm const * monitor) {
   Pelm::Ptr<StorageDevices::TempSensorSm const> const kept{monitor};
   auto const write = [entities, kept](Base::JsonWriter & writer, Pelm::String const & sensor,
                                       TempSensorConfig const & config) {
      auto const entity = entities.sensorStatus->entityPtr(sensor);
      auto const * status = dynamic_cast<TempSensorStatus const *>(entity.get());
      if (!status)
         return;
      Pelm::String const drive = driveOf(entities, sensor);
      auto const wrapper = kept ? kept->temperatureWrapper(drive) : nullptr;
      Base::writeText(writer, sensor.view());
      writeSensor(writer, config, *status, drive, hasRecord(entities, drive), wrapper.get());
   };
   return jsonObjectOfSome(entities.sensors->tempSensor, write);
}

JsonValue mountPointsJson(StorageDevices::MountPtMonitorManagerSm const * manager) {
   if (!manager)
      return JsonMembers{};
   return jsonObject(manager->mountPtMonitorSm, writeMountPoint);
}

}  // namespace Agent
