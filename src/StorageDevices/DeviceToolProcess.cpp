#include "StorageDevices/DeviceToolProcess.h"

#include <utility>

namespace StorageDevices {

DeviceToolProcess::DeviceToolProcess(Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker,
                                     Pelm::String device)
    : device_{std::move(device)}, sm_{Brul::PipedChildProcessSm::PipedChildProcessSmIs(tracker)} {
   sm_->hasNotificationActiveIs(true);
}

void DeviceToolProcess::start(Pelm::String const & devicePath, std::initializer_list<Pelm::String> command) {
   if (started())
      return;
   Pelm::Ptr<Brul::PipedChildProcessSm> const sm = sm_;
   if (sm->state() != Brul::PipedChildProcessSm::State::idle)
      return;
   devicePath_ = devicePath;
   sm->argPopAll();
   for (Pelm::String const & argument : command)
      sm->argPush(argument);
   sm->start(true, true);
   startedIs(true);
}

}  // namespace StorageDevices
