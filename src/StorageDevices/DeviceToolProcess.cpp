#include "StorageDevices/DeviceToolProcess.h"

#include <utility>

#include "StorageDevices/JsonDocument.h"

namespace StorageDevices {

using State = Brul::PipedChildProcessSm::State;

DeviceToolProcess::DeviceToolProcess(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker,
                                     Pelm::String device)
    : device_{std::move(device)}, sm_{Brul::PipedChildProcessSm::PipedChildProcessSmIs(tracker)} {
   sm_->hasNotificationActiveIs(true);
}

void DeviceToolProcess::start(Pelm::String const & devicePath, std::initializer_list<Pelm::String> command) {
   if (started())
      return;
   Pelm::Ptr<Brul::PipedChildProcessSm> const sm = sm_;
   if (sm->state() != State::idle)
      return;
   devicePath_ = devicePath;
   sm->argPopAll();
   for (Pelm::String const & argument : command)
      sm->argPush(argument);
   sm->start(true, true);
   startedIs(true);
}

std::optional<JsonDocument> DeviceToolProcess::document(Vorn::TraceHandle const & traceHandle,
                                                        char const * handler, char const * tool) const {
   if (sm_->state() == State::failed) {
      VORN_TRACE(traceHandle, 0) << handler << " Error running " << tool << " for " << devicePath_
                                 << "; exit code: " << sm_->exitCode();
      if (!sm_->stderrString().empty())
         VORN_TRACE(traceHandle, 0) << handler << " " << sm_->stderrString();
      return std::nullopt;
   }
   JsonDocument document{sm_->stdoutBuffer()};
   if (document.isValid())
      return document;
   traceJsonError(traceHandle, handler, document.error());
   return std::nullopt;
}

void traceJsonError(Vorn::TraceHandle const & traceHandle, char const * handler, std::string_view error) {
   VORN_TRACE(traceHandle, 0) << handler << " JSON parsing error: " << error;
}

}  // namespace StorageDevices
