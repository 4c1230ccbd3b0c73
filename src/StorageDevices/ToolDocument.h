// The output of a tool's run, read as JSON.
#pragma once

#include <new>
#include <optional>
#include <string_view>

#include "StorageDevices/DeviceToolProcess.h"
#include "StorageDevices/JsonDocument.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

// The document that a completed run has printed. Nothing, and a trace, when the run failed or printed
// something else. `handler` and `tool` name the function and the tool in the traces.
std::optional<JsonDocument> toolDocument(DeviceToolProcess const & process,
                                         Vorn::TraceHandle const & traceHandle, char const * handler,
                                         char const * tool);

// Traces an output that is not the expected document.
void traceJsonError(Vorn::TraceHandle const & traceHandle, char const * handler, std::string_view error);

// Calls `action`, which writes a document into a record. If memory ends, that is traced like an invalid
// document.
template <class Action>
void fileDocument(Vorn::TraceHandle const & traceHandle, char const * handler, Action const & action) {
   try {
      action();
   } catch (std::bad_alloc const &) {
      traceJsonError(traceHandle, handler, JsonDocument::tooMuch);
   }
}

}  // namespace StorageDevices
