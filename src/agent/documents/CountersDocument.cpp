#include "agent/documents/CountersDocument.h"

namespace Agent {

namespace {

void writeKernelLines(Base::JsonWriter & writer, std::optional<KernelLineCounts> const & lines) {
   writer.StartObject();
   if (lines) {
      Base::writeMember(writer, "received", lines->received);
      Base::writeMember(writer, "forwarded", lines->forwarded);
      Base::writeMember(writer, "rewritten", lines->rewritten);
      Base::writeMember(writer, "dropped", lines->dropped);
      Base::writeMember(writer, "overruns", lines->overruns);
   }
   writer.EndObject();
}

}  // namespace

void addCounters(JsonMembers & members, Counters const & counters) {
   members
       .add("kernelLines", wholeJson([lines = counters.kernelLines](Base::JsonWriter & writer) {
               writeKernelLines(writer, lines);
            }))
       .add("log", JsonMembers{}.add("linesDropped", numberJson(counters.logLinesDropped)));
}

}  // namespace Agent
