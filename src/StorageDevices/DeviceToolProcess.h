// One run of a tool on one device, for the monitors that learn a drive's health from a tool.
//
// A run is made for one poll, started once in its life, and dropped when it is over.
#pragma once

#include <initializer_list>
#include <optional>
#include <string_view>

#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

class JsonDocument;

class DeviceToolProcess : public Pelm::Node {
 public:
   // The name of the disk.
   Pelm::String const & device() const { return device_; }
   // The device node that the run was started for; empty before.
   Pelm::String const & devicePath() const { return devicePath_; }
   Pelm::Ptr<Brul::PipedChildProcessSm> const & sm() const { return sm_; }

   Vorn::Attribute<bool, DeviceToolProcess> started{*this, "started", false};
   void startedIs(bool value) { started.valueIs(value); }

   // Whether it was started and is no longer running.
   bool isOver() const { return started() && sm_->state() != Brul::PipedChildProcessSm::State::running; }

   // The document that a run that is over has printed. Empty, and traced, when it failed or printed
   // something else. `handler` names the function in the traces, `tool` the tool.
   std::optional<JsonDocument> document(Vorn::TraceHandle const & traceHandle, char const * handler,
                                        char const * tool) const;

 protected:
   DeviceToolProcess(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker, Pelm::String device);

   // Does nothing the second time.
   void start(Pelm::String const & devicePath, std::initializer_list<Pelm::String> command);

 private:
   Pelm::String device_;
   Pelm::String devicePath_;
   Pelm::Ptr<Brul::PipedChildProcessSm> sm_;
};

// Traces that an output is not what was asked for.
void traceJsonError(Vorn::TraceHandle const & traceHandle, char const * handler, std::string_view error);

}  // namespace StorageDevices
