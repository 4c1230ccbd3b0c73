#include "agent/documents/LivenessDocument.h"

#include "base/JsonText.h"

namespace Agent {

namespace {

void writeStall(Base::JsonWriter & writer, Stall const & stall) {
   writer.StartObject();
   Base::writeMember(writer, "seconds", stall.duration.value());
   Base::writeMember(writer, "operation", stall.operation);
   if (!stall.path.empty())
      Base::writeMember(writer, "path", stall.path);
   Base::writeMember(writer, "time", stall.utc.value());
   writer.EndObject();
}

}  // namespace

std::string livenessDocument(Vorn::Seconds lastTurnAge, Stalls const & stalls) {
   constexpr int microseconds = 6;
   Base::JsonBuffer buffer;
   Base::JsonWriter writer{buffer};
   writer.SetMaxDecimalPlaces(microseconds);
   writer.StartObject();
   Base::writeMember(writer, "status", "ok");
   Base::writeMember(writer, "lastTurnAgeSeconds", lastTurnAge.value());
   writer.Key("stalls");
   writer.StartObject();
   Base::writeMember(writer, "count", stalls.count);
   Base::writeMember(writer, "longestSeconds", stalls.longest.value());
   if (stalls.last) {
      writer.Key("last");
      writeStall(writer, *stalls.last);
   }
   writer.EndObject();
   writer.EndObject();
   return std::string{buffer.GetString(), buffer.GetSize()} + "\n";
}

}  // namespace Agent
