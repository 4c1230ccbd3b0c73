#include "agent/StateDocument.h"

#include "agent/DiscoveryDocument.h"
#include "agent/HealthDocument.h"
#include "agent/JsonText.h"
#include "agent/ReadingsDocument.h"
#include "agent/Version.h"

namespace Agent {

namespace {

void writeDisk(JsonWriter & writer, StorageDevices::ConnectedDisk const & disk) {
   writer.StartObject();
   writeMember(writer, "name", disk.name().view());
   writer.Key("mibType");
   writer.Uint(disk.mibType());
   writeMember(writer, "blockDevice", disk.blockDevice().view());
   writeMember(writer, "mountPoint", disk.mountPoint().view());
   writeMember(writer, "model", disk.model().view());
   writeMember(writer, "firmwareRevision", disk.firmwareRevision().view());
   writer.Key("removable");
   writer.Bool(disk.removable());
   writer.Key("busType");
   writer.Uint(disk.busType());
   writeMember(writer, "devAddress", disk.devAddress().view());
   writer.Key("sizeGb");
   writer.Uint(disk.sizeGb());
   writeMember(writer, "deviceIntfAndAddress", disk.deviceIntfAndAddress().view());
   writer.EndObject();
}

void writeConnectedDevices(JsonWriter & writer, StorageDevices::ConnectedDevices const & devices) {
   writer.StartObject();
   writer.Key("disk");
   writer.StartObject();
   for (auto const & [name, disk] : devices.disk) {
      writeKey(writer, name.view());
      writeDisk(writer, *disk);
   }
   writer.EndObject();
   writer.Key("udevSerialToSerialMap");
   writer.StartObject();
   for (auto const & [udevSerial, serial] : devices.udevSerialToSerialMap) {
      writeKey(writer, udevSerial.view());
      writeText(writer, serial.view());
   }
   writer.EndObject();
   writer.EndObject();
}

void writeErrors(JsonWriter & writer, IoStatErrors const & errors) {
   writer.StartObject();
   writer.Key("openErrorCount");
   writer.Uint64(errors.openErrorCount);
   writer.Key("getlineErrorCount");
   writer.Uint64(errors.getlineErrorCount);
   writer.Key("regexErrorCount");
   writer.Uint64(errors.regexErrorCount);
   writer.EndObject();
}

void writeHealth(JsonWriter & writer, StateSources const & sources, std::size_t history) {
   writer.Key("smartData");
   writeSmartData(writer, *sources.entities.smart);
   writer.Key("nvmeData");
   writeNvmeData(writer, *sources.entities.nvme);
   writer.Key("emmcData");
   writeEmmcData(writer, *sources.entities.emmc);
   writer.Key("ioStatData");
   writeIoStatData(writer, *sources.entities.ioStat, history);
   writer.Key("ioStatErrors");
   writeErrors(writer, sources.ioStatErrors);
   writer.Key("readings");
   writeReadings(writer, *sources.entities.devices, sources.readings);
}

void writeKeepers(JsonWriter & writer, StateSources const & sources) {
   writer.Key("deviceLifetimeChange");
   writeLifetimeChanges(writer, sources.keepers.lifetime);
   writer.Key("temperature");
   writeTemperature(writer, sources.entities, sources.keepers.temperature);
   writer.Key("mountPoints");
   writeMountPoints(writer, sources.keepers.mountPoints);
   writer.Key("storageDevicesInfo");
   writeStorageDevicesInfo(writer, *sources.entities.kernelErrors);
}

}  // namespace

std::string stateDocument(StateSources const & sources, std::size_t history) {
   rapidjson::StringBuffer buffer;
   JsonWriter writer{buffer};
   writer.StartObject();
   writeMember(writer, "version", version);
   writer.Key("time");
   writer.Double(sources.utc);
   writer.Key("internalDevicesReady");
   writer.Bool(sources.internalDevicesReady);
   writer.Key("connectedDevices");
   writeConnectedDevices(writer, *sources.entities.devices);
   writer.Key("discovery");
   writeDiscovery(writer, sources.keepers.discovery);
   writeHealth(writer, sources, history);
   writeKeepers(writer, sources);
   writer.Key("tools");
   writeTools(writer, sources.tools);
   writeCounters(writer, sources.counters);
   writer.EndObject();
   return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace Agent
