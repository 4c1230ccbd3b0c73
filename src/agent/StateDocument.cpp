#include "agent/StateDocument.h"

#include "agent/JsonText.h"
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

}  // namespace

std::string stateDocument(StateSources const & sources) {
   rapidjson::StringBuffer buffer;
   JsonWriter writer{buffer};
   writer.StartObject();
   writeMember(writer, "version", version);
   writer.Key("time");
   writer.Double(sources.utc);
   writer.Key("internalDevicesReady");
   writer.Bool(sources.internalDevicesReady);
   writer.Key("connectedDevices");
   writeConnectedDevices(writer, sources.connectedDevices);
   writer.EndObject();
   return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace Agent
