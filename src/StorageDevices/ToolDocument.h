// What a run of a tool has printed, read as JSON.
#pragma once

#include <new>
#include <optional>
#include <string_view>

#include "StorageDevices/DeviceToolProcess.h"
#include "StorageDevices/JsonDocument.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

// The document that a run that is over has printed. Empty, and traced, when it failed or printed
// something else. `handler` names the function in the traces, `tool` the tool.
std::optional<JsonDocument> toolDocument(DeviceToolProcess const & process,
                                         Vorn::TraceHandle const & traceHandle, char const * handler,
                                         char const * tool);

// Traces that an output is not what was asked for.
void traceJsonError(Vorn::TraceHandle const & traceHandle, char const * handler, std::string_view error);

// Calls `action`, which files a document. One for which there is no memory is traced as if it were none.
template <class Action>
void fileDocument(Vorn::TraceHandle const & traceHandle, char const * handler, Action const & action) {
   try {
      action();
   } catch (std::bad_alloc const &) {
      traceJsonError(traceHandle, handler, JsonDocument::tooMuch);
   }
}

}  // namespace StorageDevices
