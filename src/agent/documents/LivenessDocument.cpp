#include "agent/documents/LivenessDocument.h"

#include "base/JsonText.h"

namespace Agent {

namespace {

void writeNumber(Base::JsonWriter & writer, char const * key, double value) {
   writer.Key(key);
   writer.Double(value);
}

void writeStall(Base::JsonWriter & writer, Stall const & stall) {
   writer.StartObject();
   writeNumber(writer, "seconds", stall.seconds);
   Base::writeMember(writer, "operation", stall.operation);
   if (!stall.path.empty())
      Base::writeMember(writer, "path", stall.path);
   writeNumber(writer, "time", stall.time);
   writer.EndObject();
}

}  // namespace

std::string livenessDocument(double lastTurnAgeSeconds, Stalls const & stalls) {
   constexpr int microseconds = 6;
   Base::JsonBuffer buffer;
   Base::JsonWriter writer{buffer};
   writer.SetMaxDecimalPlaces(microseconds);
   writer.StartObject();
   Base::writeMember(writer, "status", "ok");
   writeNumber(writer, "lastTurnAgeSeconds", lastTurnAgeSeconds);
   writer.Key("holds");
   writer.StartObject();
   writer.Key("count");
   writer.Uint64(stalls.count);
   writeNumber(writer, "longestSeconds", stalls.longestSeconds);
   if (stalls.last) {
      writer.Key("last");
      writeStall(writer, *stalls.last);
   }
   writer.EndObject();
   writer.EndObject();
   return std::string{buffer.GetString(), buffer.GetSize()} + "\n";
}

}  // namespace Agent
