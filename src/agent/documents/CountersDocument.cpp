#include "agent/documents/CountersDocument.h"

namespace Agent {

namespace {

void writeCount(Base::JsonWriter & writer, char const * key, std::uint64_t count) {
   writer.Key(key);
   writer.Uint64(count);
}

void writeKernelLines(Base::JsonWriter & writer, std::optional<KernelLineCounts> const & lines) {
   writer.StartObject();
   if (lines) {
      writeCount(writer, "received", lines->received);
      writeCount(writer, "forwarded", lines->forwarded);
      writeCount(writer, "rewritten", lines->rewritten);
      writeCount(writer, "dropped", lines->dropped);
      writeCount(writer, "overruns", lines->overruns);
   }
   writer.EndObject();
}

}  // namespace

void addCounters(JsonMembers & members, Counters const & counters) {
   members
       .add("kernelLines", wholeJson([lines = counters.kernelLines](Base::JsonWriter & writer) {
               writeKernelLines(writer, lines);
            }))
       .add("log", wholeJson([dropped = counters.logLinesDropped](Base::JsonWriter & writer) {
               writer.StartObject();
               writeCount(writer, "linesDropped", dropped);
               writer.EndObject();
            }));
}

}  // namespace Agent
