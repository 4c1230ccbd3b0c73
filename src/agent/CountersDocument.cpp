#include "agent/CountersDocument.h"

namespace Agent {

namespace {

void writeCount(JsonWriter & writer, char const * key, std::uint64_t count) {
   writer.Key(key);
   writer.Uint64(count);
}

}  // namespace

void writeCounters(JsonWriter & writer, Counters const & counters) {
   writer.Key("kernelLines");
   writer.StartObject();
   if (auto const & lines = counters.kernelLines) {
      writeCount(writer, "received", lines->received);
      writeCount(writer, "forwarded", lines->forwarded);
      writeCount(writer, "rewritten", lines->rewritten);
      writeCount(writer, "dropped", lines->dropped);
      writeCount(writer, "overruns", lines->overruns);
   }
   writer.EndObject();
   writer.Key("log");
   writer.StartObject();
   writeCount(writer, "linesDropped", counters.logLinesDropped);
   writer.EndObject();
}

}  // namespace Agent
