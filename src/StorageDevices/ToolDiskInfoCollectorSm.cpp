#include "StorageDevices/ToolDiskInfoCollectorSm.h"

namespace StorageDevices {

ToolDiskInfoCollectorSm::ToolDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk,
                                                 Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker,
                                                 char const * failure)
    : DiskInfoCollectorSm{std::move(disk)}, childProcessTrackerSm_{std::move(tracker)}, failure_{failure} {}

void ToolDiskInfoCollectorSm::start(std::initializer_list<Pelm::String> command) {
   process_ = Pelm::make<Process>(childProcessTrackerSm_, device()->name());
   reactor_.notifierIs(process_->sm());
   reactor_.on<&ToolDiskInfoCollectorSm::handleRun>(process_->sm()->state, *this);
   reactor_.hasNotificationActiveIs(true);
   initialized_ = true;
   process_->start(device()->blockDevice(), command);
}

void ToolDiskInfoCollectorSm::runDel() {
   reactor_.hasNotificationActiveIs(false);
   reactor_.notifierIs(nullptr);
   if (auto const process = std::exchange(process_, nullptr))
      process->sm()->hasNotificationActiveIs(false);
}

void ToolDiskInfoCollectorSm::handleRun() {
   if (!process_ || !process_->isOver())
      return;
   if (run()->state() == Brul::PipedChildProcessSm::State::failed) {
      VORN_TRACE(collectorTrace, 0) << failure_;
      startErrorIs(run()->startError());
      finalizeUnchanged();
   } else {
      parseOutput();
   }
}

}  // namespace StorageDevices
