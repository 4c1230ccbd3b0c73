#include "StorageDevices/SsdDiskInfoCollectorSm.h"

#include <utility>

#include "StorageDevices/HdparmReport.h"
#include "runtime/Vorn/Machine.h"

namespace StorageDevices {

namespace {

// Support greps for these texts; they do not follow the compiler's spelling of signatures.
constexpr char handleHdparmName[] = "void StorageDevices::SsdDiskInfoCollectorSm::handleHdparm()";
constexpr char parseOutputName[] = "void StorageDevices::SsdDiskInfoCollectorSm::parseOutput()";

}  // namespace

SsdDiskInfoCollectorSm::SsdDiskInfoCollectorSm(Pelm::Ptr<ConnectedDisk const> disk,
                                               Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker)
    : DiskInfoCollectorSm{std::move(disk)}, childProcessTrackerSm_{std::move(tracker)} {}

void SsdDiskInfoCollectorSm::handleInitialized() {
   hdparmSm_ = Brul::PipedChildProcessSm::PipedChildProcessSmIs(childProcessTrackerSm_);
   hdparmReactor_.notifierIs(hdparmSm_);
   hdparmReactor_.on<&SsdDiskInfoCollectorSm::handleHdparm>(hdparmSm_->state, *this);
   hdparmReactor_.hasNotificationActiveIs(true);
   hdparmSm_->hasNotificationActiveIs(true);
   hdparmSm_->argPush("hdparm");
   hdparmSm_->argPush("-I");
   hdparmSm_->argPush(device()->blockDevice());
   initialized_ = true;
   hdparmSm_->start(true, true);
}

void SsdDiskInfoCollectorSm::hdparmSmDel() {
   hdparmReactor_.hasNotificationActiveIs(false);
   hdparmReactor_.notifierIs(nullptr);
   if (auto const run = std::exchange(hdparmSm_, nullptr))
      run->hasNotificationActiveIs(false);
}

void SsdDiskInfoCollectorSm::handleHdparm() {
   using State = Brul::PipedChildProcessSm::State;
   if (!initialized_ || !hdparmSm_ || hdparmSm_->state() == State::running)
      return;
   if (hdparmSm_->state() == State::failed) {
      VORN_TRACE(traceHandle, 0) << handleHdparmName << " hdparm failed";
      startErrorIs(hdparmSm_->startError());
      finalizeUnchanged();
   } else {
      parseOutput();
   }
}

void SsdDiskInfoCollectorSm::parseOutput() {
   if (!hdparmSm_)
      return;
   std::string_view const report = hdparmSm_->stdoutBuffer();
   auto const identity = findIdentity(report);
   auto const sizeText = findSizeGb(report);
   if (!identity || !sizeText) {
      VORN_TRACE(traceHandle, 0) << parseOutputName << " hdparm output did not match expected";
      finalizeUnchanged();
      return;
   }
   auto const size = parseSizeGb(*sizeText);
   if (!size)
      VORN_TRACE(traceHandle, 0) << parseOutputName << " could not parse size from hdparm";
   finalize(strippedMatch(identity->serial), strippedMatch(identity->model),
            strippedMatch(identity->firmware), size.value_or(device()->sizeGb()));
}

Pelm::Ptr<DiskInfoCollectorSm> SsdDiskInfoCollectorSmIs(
    Pelm::Ptr<ConnectedDisk const> const & disk, Pelm::Ptr<Brul::ChildProcessTrackerSm> const & tracker) {
   return Vorn::makeMachine<SsdDiskInfoCollectorSm>(disk, tracker);
}

}  // namespace StorageDevices
