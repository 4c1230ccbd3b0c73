#include "StorageDevices/ToolDocument.h"

#include "StorageDevices/ToolMeaning.h"

namespace StorageDevices {

std::optional<JsonDocument> toolDocument(DeviceToolProcess const & process, ToolTraces const & traces) {
   Brul::PipedChildProcessSm const & run = *process.sm();
   if (run.state() == Brul::PipedChildProcessSm::State::failed) {
      VORN_TRACE(traces.handle, 0) << traces.handler << " Error running " << traces.tool << " for "
                                   << process.devicePath() << "; exit code: " << run.exitCode();
      if (!run.stderrString().empty())
         VORN_TRACE(traces.handle, 0) << traces.handler << " " << run.stderrString();
      return std::nullopt;
   }
   JsonDocument document{run.stdoutBuffer()};
   if (document.isValid())
      return document;
   traces.jsonError(document.error());
   return std::nullopt;
}

void ToolTraces::jsonError(std::string_view error) const {
   VORN_TRACE(handle, 0) << handler << " JSON parsing error: " << error;
}

void recordFailure(HealthReading & reading, DeviceToolProcess const & process) {
   Pelm::Ptr<Brul::FinishedRun const> const & run = process.sm()->finishedRun();
   bool const hangs = run && run->timedOut;
   if (!run || !run->failed) {
      reading.failureIs("unreadable output", hangs);
      return;
   }
   try {
      reading.failureIs(runMeaning(*run), hangs);
   } catch (std::bad_alloc const &) {
      reading.failureIs("out of memory", hangs);
   }
}

}  // namespace StorageDevices
