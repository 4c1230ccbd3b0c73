// The output of a tool's run, read as JSON.
#pragma once

#include <new>
#include <optional>
#include <string_view>

#include "StorageDevices/DeviceToolProcess.h"
#include "StorageDevices/JsonDocument.h"
#include "runtime/Vorn/Trace.h"
#include "runtime/model/HealthReading.h"

namespace StorageDevices {

// What the traces of a run name: its handler's function and its tool.
struct ToolTraces {
   Vorn::TraceHandle const & handle;
   char const * handler;
   char const * tool;

   // An output that is not the expected document.
   void jsonError(std::string_view error) const;
};

// The document that a completed run has printed. Nothing, and a trace, when the run failed or printed
// something else.
std::optional<JsonDocument> toolDocument(DeviceToolProcess const & process, ToolTraces const & traces);

// Records that the run brought no good reading, and why.
void recordFailure(HealthReading & reading, DeviceToolProcess const & process);

// Writes what a completed run has printed into the record, and whether the reading was good. `write` takes
// the document and the record, and answers whether it was. If memory ends, that is traced like an invalid
// document. Without a record only the failures of the run are traced.
template <class Record, class Write>
void fileRun(DeviceToolProcess const & process, Pelm::Ptr<Record> const & record, ToolTraces const & traces,
             Write const & write) {
   auto const document = toolDocument(process, traces);
   if (!record)
      return;
   bool good = false;
   try {
      good = document && write(*document, *record);
   } catch (std::bad_alloc const &) {
      traces.jsonError(JsonDocument::tooMuch);
   }
   if (good)
      record->reading.countInc();
   else
      recordFailure(record->reading, process);
}

}  // namespace StorageDevices
