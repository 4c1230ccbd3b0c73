// The base of the collectors that run a tool on their disk, once.
//
// The run begins with the initialisation. If it fails, that is traced and the disk is published unchanged;
// else the collector publishes the identity that the tool has printed.
#pragma once

#include <initializer_list>
#include <utility>

#include "StorageDevices/DeviceToolProcess.h"
#include "StorageDevices/DiskInfoCollectorSm.h"
#include "runtime/Vorn/Notifiee.h"

namespace StorageDevices {

class ToolDiskInfoCollectorSm : public DiskInfoCollectorSm {
 public:
   ~ToolDiskInfoCollectorSm() override { runDel(); }

   Pelm::Ptr<Brul::ChildProcessTrackerSm> const & childProcessTrackerSm() const {
      return childProcessTrackerSm_;
   }
   // Whether the tool has been started.
   bool initialized() const { return initialized_; }

   // Publishes the identity in the output of the run.
   virtual void parseOutput() = 0;

 protected:
   // `failure` is traced when the run fails.
   ToolDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk,
                           Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker, char const * failure);

   void start(std::initializer_list<Pelm::String> command);
   // The run has changed its state.
   void handleRun();
   // The run; null before the start and after its deletion.
   Pelm::Ptr<Brul::PipedChildProcessSm> run() const { return process_ ? process_->sm() : nullptr; }
   // Drops the run; a running tool is ended.
   void runDel();

 private:
   class Process final : public DeviceToolProcess {
    public:
      using DeviceToolProcess::start;
      Process(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker, Pelm::String device)
          : DeviceToolProcess{tracker, std::move(device)} {}
   };

   Pelm::Ptr<Brul::ChildProcessTrackerSm> childProcessTrackerSm_;
   char const * failure_;
   Pelm::Ptr<Process> process_;
   bool initialized_ = false;
   Vorn::NotifieeConst reactor_;
};

}  // namespace StorageDevices
