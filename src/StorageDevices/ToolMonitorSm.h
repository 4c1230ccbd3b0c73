// The base of the monitors that read a drive with a tool.
//
// Per drive, a poll starts a run unless one is in flight. At the end of the run its output is written into
// the record, and the run is deleted. A run that failed or printed invalid output does not change the record,
// but for its state (`reading`). A run that hangs is ended by the tracker's time limit alone; without one its
// drive is read no more.
#pragma once

#include <utility>

#include "StorageDevices/DeviceToolProcess.h"
#include "StorageDevices/RecordMonitorSm.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/EachMember.h"

namespace StorageDevices {

template <class Data, class Process>
class ToolMonitorSm : public RecordMonitorSm<Data> {
 public:
   Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker() const { return tracker_; }

   // Ends the disk's run too: a running tool is killed, and its output is lost.
   void removeFromData(Pelm::String const & name) override {
      runDel(name);
      RecordMonitorSm<Data>::removeFromData(name);
   }

 protected:
   ToolMonitorSm(Pelm::Ptr<PollInterval const> pollInterval, Pelm::Ptr<ConnectedDevices const> devices,
                 Pelm::Ptr<Data> data, Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker, char const * runId,
                 char const * reactorId)
       : RecordMonitorSm<Data>{std::move(pollInterval), std::move(devices), std::move(data)},
         run{*this, runId},
         runReactor{*this, reactorId},
         tracker_{std::move(tracker)} {}

   // The run of a disk has changed its state: it runs, within its start, or is over, in a later turn.
   virtual void handleRun(Pelm::String const & name) = 0;
   using RunReactor = Vorn::MemberReactor<&ToolMonitorSm::handleRun>;

   // The runs in flight, each with the reactor that waits for it.
   Vorn::Collection<Pelm::String, Pelm::Ptr<Process>, ToolMonitorSm> run;
   Vorn::Collection<Pelm::String, Pelm::Ptr<RunReactor>, ToolMonitorSm> runReactor;

   // Creates the run of a disk and its reactor; an existing run stays as it is.
   Pelm::Ptr<Process> runIs(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker,
                            Pelm::String const & device) {
      Pelm::Ptr<Process> process = run(device);
      if (!process) {
         process = Pelm::make<Process>(tracker, device);
         run.memberIs(device, process);
      }
      runReactorIs(process);
      return process;
   }
   // Deletes the reactor first, so that nothing hears of the end. A running tool is killed.
   void runDel(Pelm::String const & device) {
      runReactorDel(device);
      run.memberDel(device);
   }
   void runDelAll() {
      runReactorDelAll();
      run.memberDelAll();
   }
   // Creates the reactor of a run; an existing one stays as it is.
   void runReactorIs(Pelm::Ptr<Process> const & process) {
      Pelm::String const & device = process->device();
      if (!runReactor.contains(device))
         runReactor.memberIs(device, Pelm::make<RunReactor>(*this, device, process->sm()->state));
   }
   void runReactorDel(Pelm::String const & device) { runReactor.memberDel(device); }
   void runReactorDelAll() { runReactor.memberDelAll(); }

   // Deletes the run of a disk and answers it, if it is over; else null.
   Pelm::Ptr<Process> takeRun(Pelm::String const & name) {
      Pelm::Ptr<Process> process = run(name);
      if (!process || !process->isOver())
         return nullptr;
      runDel(process->device());
      return process;
   }

 private:
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_;
};

}  // namespace StorageDevices
