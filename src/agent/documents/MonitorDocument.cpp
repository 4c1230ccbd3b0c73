#include "agent/documents/MonitorDocument.h"

#include <cstdint>

#include "agent/verdict/DiskRecords.h"

namespace Agent {

namespace {

using Environment::Temperature::TempSensorStatus;

template <class Cell>
void writeBool(Base::JsonWriter & writer, Cell const & cell) {
   writer.Key(cell.id());
   writer.Bool(cell());
}

template <class Cell>
void writeCount(Base::JsonWriter & writer, Cell const & cell) {
   writer.Key(cell.id());
   writer.Uint64(cell());
}

void writeReal(Base::JsonWriter & writer, char const * key, double value) {
   writer.Key(key);
   writer.Double(value);
}

void writeChange(Base::JsonWriter & writer, StorageDevices::DeviceLifetimeChange const & change) {
   writer.StartObject();
   constexpr std::int64_t noFigure = -1;
   if (change.lastValue() != noFigure) {
      writer.Key(change.lastValue.id());
      writer.Int64(change.lastValue());
      writeReal(writer, change.timestamp.id(), change.timestamp().value());
      writeCount(writer, change.lastBytesWritten);
   }
   writeCount(writer, change.numPastLogs);
   writeBool(writer, change.firstDropDetected);
   writer.EndObject();
}

void writeInfo(Base::JsonWriter & writer, StorageDevErrorSyslogInfo const & info) {
   writer.StartObject();
   Base::writeMember(writer, "blockDevice", info.blockDevice().view());
   Base::writeMember(writer, "interfaceAndAddress", info.interfaceAndAddress().view());
   Base::writeMember(writer, info.kernelDevName.id(), info.kernelDevName().view());
   Base::writeMember(writer, info.model.id(), info.model().view());
   Base::writeMember(writer, info.firmwareRevision.id(), info.firmwareRevision().view());
   writer.Key("removable");
   writer.Bool(info.removable());
   writeReal(writer, info.syslogTimestamp.id(), info.syslogTimestamp().value());
   writeCount(writer, info.disconnectCount);
   writer.EndObject();
}

void writeSensor(Base::JsonWriter & writer, TempSensorStatus const & status, Pelm::String const & drive,
                 bool present, StorageDevices::TempSensorSm::Wrapper const * wrapper) {
   bool const shown = present && status.temperature();
   writer.StartObject();
   Base::writeMember(writer, "drive", drive.view());
   if (shown)
      writeReal(writer, status.temperature.id(), status.temperature()->value());
   // Both are 0 until the first reading came with a range.
   if (status.minTemperature().value() < status.maxTemperature().value()) {
      writeReal(writer, "min", status.minTemperature().value());
      writeReal(writer, "max", status.maxTemperature().value());
   }
   if (wrapper)
      writeReal(writer, wrapper->unrealisticTempChangeThreshold.id(),
                wrapper->unrealisticTempChangeThreshold().value());
   auto const alarm = shown ? status.alarm() : TempSensorStatus::Alarm{TempSensorStatus::Alarm::none};
   Base::writeMember(writer, status.alarm.id(), alarm.stringValue().view());
   writer.EndObject();
}

void writeFsHealth(Base::JsonWriter & writer, StorageDevices::FsHealthSm const & test) {
   writer.StartObject();
   Base::writeMember(writer, test.state.id(), test.state().stringValue().view());
   writeBool(writer, test.running);
   writeBool(writer, test.writeTestOk);
   writeBool(writer, test.readTestOk);
   writeCount(writer, test.nonSyslogErrorCount);
   writeCount(writer, test.eagainErrorCount);
   writeBool(writer, test.utilThresholdExceeded);
   writer.EndObject();
}

void writeMountPoint(Base::JsonWriter & writer, StorageDevices::MountPtMonitorSm const & monitor) {
   writer.StartObject();
   if (!monitor.mountPtDevice().empty())
      Base::writeMember(writer, "device", monitor.mountPtDevice().view());
   if (monitor.mountPtDeviceBlkSize() != 0) {
      writer.Key("blkSize");
      writer.Uint(monitor.mountPtDeviceBlkSize());
   }
   writeCount(writer, monitor.initialMountFailuresRemaining);
   if (auto const & test = monitor.fsHealthSm()) {
      writer.Key("fsHealth");
      writeFsHealth(writer, *test);
   }
   writer.EndObject();
}

JsonValue emptyObject() {
   return JsonMembers{};
}

}  // namespace

JsonValue lifetimeChangesJson(StorageDevices::DeviceLifetimeMonitorSm const * monitor) {
   if (!monitor)
      return emptyObject();
   return jsonObject(monitor->deviceLifetimeChange, [](Base::JsonWriter & writer, Pelm::String const &,
                                                       StorageDevices::DeviceLifetimeChange const & change) {
      writeChange(writer, change);
   });
}

JsonValue storageDevicesInfoJson(StorageDevicesInfo const & info) {
   return JsonMembers{}.add(
       info.fsList.id(),
       jsonObject(info.fsList, [](Base::JsonWriter & writer, Pelm::String const &,
                                  StorageDevErrorSyslogInfo const & record) { writeInfo(writer, record); }));
}

JsonValue temperatureJson(Entities const & entities, StorageDevices::TempSensorSm const * monitor) {
   Pelm::Ptr<StorageDevices::TempSensorSm const> const kept{monitor};
   auto const write = [entities, kept](Base::JsonWriter & writer, Pelm::String const & sensor, auto const &) {
      auto const entity = entities.sensorStatus->entityPtr(sensor);
      auto const * status = dynamic_cast<TempSensorStatus const *>(entity.get());
      if (!status)
         return;
      Pelm::String const drive = driveOf(entities, sensor);
      auto const wrapper = kept ? kept->temperatureWrapper(drive) : nullptr;
      Base::writeKey(writer, sensor.view());
      writeSensor(writer, *status, drive, hasRecord(entities, drive), wrapper.get());
   };
   return jsonObjectOfSome(entities.sensors->tempSensor, write);
}

JsonValue mountPointsJson(StorageDevices::MountPtMonitorManagerSm const * manager) {
   if (!manager)
      return emptyObject();
   return jsonObject(manager->mountPtMonitorSm, [](Base::JsonWriter & writer, Pelm::String const &,
                                                   StorageDevices::MountPtMonitorSm const & monitor) {
      writeMountPoint(writer, monitor);
   });
}

}  // namespace Agent
