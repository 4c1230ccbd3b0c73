#include "agent/documents/ReadingsDocument.h"

#include "agent/tools/ToolMeaning.h"

namespace Agent {

namespace {

void writeSeconds(Base::JsonWriter & writer, char const * key, Vorn::Seconds seconds) {
   writer.Key(key);
   writer.Double(seconds.value());
}

void writeRun(Base::JsonWriter & writer, ToolRuns::Ended const & ended) {
   Brul::FinishedRun const & run = *ended.run;
   writer.StartObject();
   writer.Key("argv");
   writer.StartArray();
   for (Pelm::String const & argument : run.argv)
      Base::writeText(writer, argument.view());
   writer.EndArray();
   writer.Key("exitCode");
   writer.Int(run.exitCode);
   Base::writeMember(writer, "meaning", runMeaning(run));
   writeSeconds(writer, "seconds", run.duration);
   writer.Key("failed");
   writer.Bool(run.failed);
   writer.Key("timedOut");
   writer.Bool(run.timedOut);
   writeSeconds(writer, "time", ended.utc);
   writer.EndObject();
}

void writeReading(Base::JsonWriter & writer, Reading const & reading) {
   writer.StartObject();
   Base::writeMember(writer, "source", reading.source);
   if (reading.lastGood)
      writeSeconds(writer, "lastGood", *reading.lastGood);
   if (reading.failure) {
      writeSeconds(writer, "failingSince", reading.failure->since);
      Base::writeMember(writer, "reason", reading.failure->reason);
   }
   writer.EndObject();
}

void writeTools(Base::JsonWriter & writer, ToolRuns const & tools) {
   writer.StartObject();
   writer.Key("runs");
   writer.Uint64(tools.runs());
   writer.Key("failed");
   writer.Uint64(tools.failed());
   writer.Key("timedOut");
   writer.Uint64(tools.timedOut());
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
   return jsonObject(devices.disk,
                     [&readings](Base::JsonWriter & writer, Pelm::String const & serial, auto const &) {
                        writer.StartArray();
                        for (Reading const & reading : readings.of(serial))
                           writeReading(writer, reading);
                        writer.EndArray();
                     });
}

}  // namespace Agent
