// One run of a tool on one device, for the monitors that read a drive's health with a tool.
//
// The object is created for one poll, started once, and dropped when the run is over.
#pragma once

#include <initializer_list>

#include "StorageDevices/Export.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"

namespace StorageDevices {

class STORAGEDEVICES_API DeviceToolProcess : public Pelm::Node {
 public:
   // The name of the disk.
   Pelm::String const & device() const { return device_; }
   // The device node that the run was started for; empty before.
   Pelm::String const & devicePath() const { return devicePath_; }
   // The run itself; never null.
   Pelm::Ptr<Brul::PipedChildProcessSm> const & sm() const { return sm_; }

   // Whether the run was started, also if the tool could not be.
   Vorn::Attribute<bool, DeviceToolProcess> started{*this, "started", false};
   void startedIs(bool value) { started.valueIs(value); }

   // Whether it was started and is no longer running.
   bool isOver() const { return started() && sm_->state() != Brul::PipedChildProcessSm::State::running; }

 protected:
   DeviceToolProcess(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker, Pelm::String device);

   // Runs the command, with its outputs captured. A second call does nothing.
   void start(Pelm::String const & devicePath, std::initializer_list<Pelm::String> command);

 private:
   Pelm::String device_;
   Pelm::String devicePath_;
   Pelm::Ptr<Brul::PipedChildProcessSm> sm_;
};

}  // namespace StorageDevices
