#include "agent/documents/StateDocument.h"

#include "agent/documents/DiscoveryDocument.h"
#include "agent/documents/HealthDocument.h"
#include "agent/documents/PiecedJson.h"
#include "agent/documents/ReadingsDocument.h"
#include "agent/documents/VerdictDocument.h"
#include "base/Version.h"

namespace Agent {

namespace {

JsonValue connectedDevicesJson(StorageDevices::ConnectedDevices const & devices) {
   auto disks =
       jsonObject(devices.disk, [](Base::JsonWriter & writer, Pelm::String const &,
                                   StorageDevices::ConnectedDisk const & disk) { writeDisk(writer, disk); });
   auto serials = jsonObject(devices.udevSerialToSerialMap,
                             [](Base::JsonWriter & writer, Pelm::String const &,
                                Pelm::String const & serial) { Base::writeText(writer, serial.view()); });
   return JsonMembers{}.add("disk", std::move(disks)).add("udevSerialToSerialMap", std::move(serials));
}

void writeErrors(Base::JsonWriter & writer, IoStatErrors const & errors) {
   writer.StartObject();
   writer.Key("openErrorCount");
   writer.Uint64(errors.openErrorCount);
   writer.Key("getlineErrorCount");
   writer.Uint64(errors.getlineErrorCount);
   writer.Key("regexErrorCount");
   writer.Uint64(errors.regexErrorCount);
   writer.EndObject();
}

void addUnit(JsonMembers & members, StateSources const & sources) {
   members
       .add("version", wholeJson([](Base::JsonWriter & writer) { Base::writeText(writer, Base::version); }))
       .add("time", wholeJson([utc = sources.utc](Base::JsonWriter & writer) { writer.Double(utc); }))
       .add("internalDevicesReady", wholeJson([ready = sources.internalDevicesReady](
                                                  Base::JsonWriter & writer) { writer.Bool(ready); }))
       .add("connectedDevices", connectedDevicesJson(*sources.entities.devices));
}

void addVerdicts(JsonMembers & members, StateSources const & sources) {
   DiskVerdicts const & disks = sources.verdicts.disks();
   members.add("unit", unitJson(sources.verdicts.unit()))
       .add("verdicts", verdictsJson(disks, sources.readings))
       .add("figures", figuresJson(disks, *sources.entities.devices));
}

void addHealth(JsonMembers & members, StateSources const & sources, std::size_t history) {
   members.add("smartData", smartDataJson(*sources.entities.smart))
       .add("nvmeData", nvmeDataJson(*sources.entities.nvme))
       .add("emmcData", emmcDataJson(*sources.entities.emmc))
       .add("ioStatData", ioStatDataJson(*sources.entities.ioStat, history))
       .add("ioStatErrors", wholeJson([errors = sources.ioStatErrors](Base::JsonWriter & writer) {
               writeErrors(writer, errors);
            }))
       .add("readings", readingsJson(*sources.entities.devices, sources.readings));
}

void addKeepers(JsonMembers & members, StateSources const & sources) {
   members.add("deviceLifetimeChange", lifetimeChangesJson(sources.keepers.lifetime))
       .add("temperature", temperatureJson(sources.entities, sources.keepers.temperature))
       .add("mountPoints", mountPointsJson(sources.keepers.mountPoints))
       .add("storageDevicesInfo", storageDevicesInfoJson(*sources.entities.kernelErrors));
}

}  // namespace

std::unique_ptr<Document> stateDocument(StateSources const & sources, std::size_t history) {
   JsonMembers members;
   addUnit(members, sources);
   members.add("discovery", discoveryJson(sources.keepers.discovery));
   addVerdicts(members, sources);
   addHealth(members, sources, history);
   addKeepers(members, sources);
   members.add("tools", toolsJson(sources.tools));
   addCounters(members, sources.counters);
   return std::make_unique<PiecedJson>(std::move(members));
}

}  // namespace Agent
