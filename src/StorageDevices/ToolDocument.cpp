#include "StorageDevices/ToolDocument.h"

namespace StorageDevices {

std::optional<JsonDocument> toolDocument(DeviceToolProcess const & process,
                                         Vorn::TraceHandle const & traceHandle, char const * handler,
                                         char const * tool) {
   Brul::PipedChildProcessSm const & run = *process.sm();
   if (run.state() == Brul::PipedChildProcessSm::State::failed) {
      VORN_TRACE(traceHandle, 0) << handler << " Error running " << tool << " for " << process.devicePath()
                                 << "; exit code: " << run.exitCode();
      if (!run.stderrString().empty())
         VORN_TRACE(traceHandle, 0) << handler << " " << run.stderrString();
      return std::nullopt;
   }
   JsonDocument document{run.stdoutBuffer()};
   if (document.isValid())
      return document;
   traceJsonError(traceHandle, handler, document.error());
   return std::nullopt;
}

void traceJsonError(Vorn::TraceHandle const & traceHandle, char const * handler, std::string_view error) {
   VORN_TRACE(traceHandle, 0) << handler << " JSON parsing error: " << error;
}

}  // namespace StorageDevices
