#include "agent/documents/LivenessDocument.h"

#include "base/JsonText.h"

namespace Agent {

namespace {

void writeNumber(JsonWriter & writer, char const * key, double value) {
   writer.Key(key);
   writer.Double(value);
}

void writeHold(JsonWriter & writer, Hold const & hold) {
   writer.StartObject();
   writeNumber(writer, "seconds", hold.seconds);
   writeMember(writer, "operation", hold.operation);
   if (!hold.path.empty())
      writeMember(writer, "path", hold.path);
   writeNumber(writer, "time", hold.time);
   writer.EndObject();
}

}  // namespace

std::string livenessDocument(double lastTurnAgeSeconds, Holds const & holds) {
   constexpr int microseconds = 6;
   JsonBuffer buffer;
   JsonWriter writer{buffer};
   writer.SetMaxDecimalPlaces(microseconds);
   writer.StartObject();
   writeMember(writer, "status", "ok");
   writeNumber(writer, "lastTurnAgeSeconds", lastTurnAgeSeconds);
   writer.Key("holds");
   writer.StartObject();
   writer.Key("count");
   writer.Uint64(holds.count);
   writeNumber(writer, "longestSeconds", holds.longestSeconds);
   if (holds.last) {
      writer.Key("last");
      writeHold(writer, *holds.last);
   }
   writer.EndObject();
   writer.EndObject();
   return std::string{buffer.GetString(), buffer.GetSize()} + "\n";
}

}  // namespace Agent
