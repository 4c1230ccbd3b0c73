#include "agent/documents/VerdictDocument.h"

#include <utility>

namespace Agent {

namespace {

void writeFigure(Base::JsonWriter & writer, char const * key, std::optional<double> const & figure) {
   if (figure)
      Base::writeMember(writer, key, *figure);
}

void writeReason(Base::JsonWriter & writer, Reason const & reason, Vorn::Seconds utcOffset) {
   writer.StartObject();
   Base::writeMember(writer, "code", reason.code);
   Base::writeMember(writer, "verdict", verdictWord(reason.verdict));
   Base::writeMember(writer, "text", reason.text);
   Base::writeMember(writer, "since", (reason.since + utcOffset).value());
   writer.EndObject();
}

void writeFigures(Base::JsonWriter & writer, DiskFigures const & figures, bool present) {
   writer.StartObject();
   writeFigure(writer, "temperature", figures.temperature);
   writeFigure(writer, "lifeLeft", figures.lifeLeft);
   writeFigure(writer, "powerOnHours", figures.powerOnHours);
   writeFigure(writer, "bytesWritten", figures.bytesWritten);
   writeFigure(writer, "bytesWrittenSinceBoot", figures.bytesWrittenSinceBoot);
   if (figures.lastRead)
      Base::writeMember(writer, "lastRead", figures.lastRead->value());
   if (!present) {
      writer.Key("disk");
      writeDisk(writer, *figures.disk);
   }
   writer.EndObject();
}

void writeUnit(Base::JsonWriter & writer, UnitVerdict const & unit) {
   writer.StartObject();
   Base::writeMember(writer, "verdict", verdictWord(unit.verdict));
   writer.Key("missing");
   writer.StartArray();
   for (std::string const & mountPoint : unit.missing)
      Base::writeText(writer, mountPoint);
   writer.EndArray();
   writer.EndObject();
}

}  // namespace

void writeVerdictMembers(Base::JsonWriter & writer, DiskVerdict const & verdict, Vorn::Seconds utcOffset) {
   Base::writeMember(writer, "verdict", verdictWord(verdict.verdict()));
   Base::writeMember(writer, "since", (verdict.since() + utcOffset).value());
   writer.Key("reasons");
   writer.StartArray();
   for (Reason const & reason : verdict.reasons())
      writeReason(writer, reason, utcOffset);
   writer.EndArray();
}

void writeDisk(Base::JsonWriter & writer, StorageDevices::ConnectedDisk const & disk) {
   writer.StartObject();
   Base::writeMember(writer, "name", disk.name().view());
   Base::writeMember(writer, "mibType", disk.mibType().value());
   Base::writeMember(writer, "blockDevice", disk.blockDevice().view());
   Base::writeMember(writer, "mountPoint", disk.mountPoint().view());
   Base::writeMember(writer, "model", disk.model().view());
   Base::writeMember(writer, "firmwareRevision", disk.firmwareRevision().view());
   Base::writeMember(writer, "removable", disk.removable());
   Base::writeMember(writer, "busType", disk.busType().value());
   Base::writeMember(writer, "devAddress", disk.devAddress().view());
   Base::writeMember(writer, "sizeGb", disk.sizeGb());
   Base::writeMember(writer, "deviceIntfAndAddress", disk.deviceIntfAndAddress().view());
   writer.EndObject();
}

JsonValue verdictsJson(DiskVerdicts const & disks, Readings const & readings) {
   return jsonObject(disks.verdict, [&readings](Base::JsonWriter & writer, DiskVerdict const & verdict) {
      writer.StartObject();
      writeVerdictMembers(writer, verdict, readings.utcOffset());
      writer.EndObject();
   });
}

JsonValue figuresJson(DiskVerdicts const & disks, StorageDevices::ConnectedDevices const & devices) {
   Pelm::Ptr<StorageDevices::ConnectedDevices const> const kept{&devices};
   return jsonObject(disks.figures, [kept](Base::JsonWriter & writer, DiskFigures const & figures) {
      writeFigures(writer, figures, kept->disk.contains(figures.disk->name()));
   });
}

JsonValue unitJson(UnitVerdict unit) {
   return wholeJson([unit = std::move(unit)](Base::JsonWriter & writer) { writeUnit(writer, unit); });
}

}  // namespace Agent
