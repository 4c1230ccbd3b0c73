#include "agent/documents/ReadingsDocument.h"

#include "StorageDevices/ToolMeaning.h"

namespace Agent {

namespace {

void writeRun(Base::JsonWriter & writer, ToolRuns::Ended const & ended) {
   Brul::FinishedRun const & run = *ended.run;
   writer.StartObject();
   writer.Key("argv");
   writer.StartArray();
   for (Pelm::String const & argument : run.argv)
      Base::writeText(writer, argument.view());
   writer.EndArray();
   Base::writeMember(writer, "exitCode", run.exitCode);
   Base::writeMember(writer, "meaning", StorageDevices::runMeaning(run));
   Base::writeMember(writer, "seconds", run.duration.value());
   Base::writeMember(writer, "failed", run.failed);
   Base::writeMember(writer, "timedOut", run.timedOut);
   Base::writeMember(writer, "time", ended.utc.value());
   writer.EndObject();
}

void writeReading(Base::JsonWriter & writer, Reading const & reading) {
   writer.StartObject();
   Base::writeMember(writer, "source", reading.source);
   if (reading.lastGood)
      Base::writeMember(writer, "lastGood", reading.lastGood->value());
   if (reading.failure) {
      Base::writeMember(writer, "failingSince", reading.failure->since.value());
      Base::writeMember(writer, "reason", reading.failure->reason);
   }
   writer.EndObject();
}

void writeTools(Base::JsonWriter & writer, ToolRuns const & tools) {
   writer.StartObject();
   Base::writeMember(writer, "runs", tools.runs());
   Base::writeMember(writer, "failed", tools.failed());
   Base::writeMember(writer, "timedOut", tools.timedOut());
   writer.Key("last");
   writer.StartArray();
   for (ToolRuns::Ended const & ended : tools.last())
      writeRun(writer, ended);
   writer.EndArray();
   writer.EndObject();
}

}  // namespace

JsonValue toolsJson(ToolRuns const & tools) {
   return wholeJson([&tools](Base::JsonWriter & writer) { writeTools(writer, tools); });
}

JsonValue readingsJson(StorageDevices::ConnectedDevices const & devices, Readings const & readings) {
   return jsonObjectOfSome(devices.disk,
                           [&readings](Base::JsonWriter & writer, Pelm::String const & serial, auto const &) {
                              Base::writeText(writer, serial.view());
                              writer.StartArray();
                              for (Reading const & reading : readings.of(serial))
                                 writeReading(writer, reading);
                              writer.EndArray();
                           });
}

}  // namespace Agent
