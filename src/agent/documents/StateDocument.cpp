#include "agent/documents/StateDocument.h"

#include <unistd.h>

#include "agent/documents/HealthDocument.h"
#include "agent/documents/PiecedJson.h"
#include "agent/documents/ReadingsDocument.h"
#include "agent/documents/VerdictDocument.h"
#include "base/Version.h"

namespace Agent {

namespace {

JsonValue connectedDevicesJson(StorageDevices::ConnectedDevices const & devices) {
   auto const writeSerial = [](Base::JsonWriter & writer, Pelm::String const & serial) {
      Base::writeText(writer, serial.view());
   };
   return JsonMembers{}
       .add("disk", jsonObject(devices.disk, writeDisk))
       .add("udevSerialToSerialMap", jsonObject(devices.udevSerialToSerialMap, writeSerial));
}

JsonValue errorsJson(IoStatErrors const & errors) {
   return JsonMembers{}
       .add("openErrorCount", numberJson(errors.openErrorCount))
       .add("getlineErrorCount", numberJson(errors.getlineErrorCount))
       .add("regexErrorCount", numberJson(errors.regexErrorCount));
}

// Empty when none are forwarded.
JsonValue kernelLinesJson(std::optional<KernelLineCounts> const & lines) {
   if (!lines)
      return JsonMembers{};
   return JsonMembers{}
       .add("received", numberJson(lines->received))
       .add("forwarded", numberJson(lines->forwarded))
       .add("rewritten", numberJson(lines->rewritten))
       .add("dropped", numberJson(lines->dropped))
       .add("overruns", numberJson(lines->overruns));
}

void writeConfiguration(Base::JsonWriter & writer, ConfigurationReport const & report) {
   writer.StartObject();
   Base::writeMember(writer, "file", report.file);
   Base::writeMember(writer, "processId", getpid());
   Base::writeMember(writer, "reloads", report.reloads);
   if (auto const & reload = report.lastReload) {
      writer.Key("lastReload");
      writer.StartObject();
      Base::writeMember(writer, "time", reload->utc);
      Base::writeMember(writer, "good", reload->good);
      Base::writeMember(writer, "text", reload->text);
      writer.EndObject();
   }
   writer.EndObject();
}

JsonValue configurationJson(ConfigurationReport const & report) {
   return wholeJson([report](Base::JsonWriter & writer) { writeConfiguration(writer, report); });
}

void addUnit(JsonMembers & members, StateSources const & sources) {
   members
       .add("version", wholeJson([](Base::JsonWriter & writer) { Base::writeText(writer, Base::version); }))
       .add("time", numberJson(sources.utc.value()))
       .add("internalDevicesReady", numberJson(sources.internalDevicesReady))
       .add("configuration", configurationJson(sources.configuration))
       .add("connectedDevices", connectedDevicesJson(*sources.entities.devices));
}

JsonValue limitsJson(Config::VerdictLimits const & limits) {
   return JsonMembers{}
       .add("lifeWarning", numberJson(limits.lifeWarning))
       .add("lifeFailing", numberJson(limits.lifeFailing));
}

void addVerdicts(JsonMembers & members, StateSources const & sources) {
   DiskVerdicts const & disks = sources.verdicts.disks();
   members.add("unit", unitJson(sources.verdicts.unit()))
       .add("verdicts", verdictsJson(disks, sources.readings))
       .add("figures", figuresJson(disks, *sources.entities.devices))
       .add("limits", limitsJson(sources.verdicts.limits()));
}

void addHealth(JsonMembers & members, StateSources const & sources, std::size_t history) {
   members.add("smartData", smartDataJson(*sources.entities.smart))
       .add("nvmeData", nvmeDataJson(*sources.entities.nvme))
       .add("emmcData", emmcDataJson(*sources.entities.emmc))
       .add("ioStatData", ioStatDataJson(*sources.entities.ioStat, history))
       .add("ioStatErrors", errorsJson(sources.ioStatErrors))
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
   members.add("tools", toolsJson(sources.tools))
       .add("kernelLines", kernelLinesJson(sources.kernelLines))
       .add("log", JsonMembers{}.add("linesDropped", numberJson(sources.logLinesDropped)));
   return std::make_unique<PiecedJson>(std::move(members));
}

}  // namespace Agent
