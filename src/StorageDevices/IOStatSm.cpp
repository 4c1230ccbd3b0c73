#include "StorageDevices/IOStatSm.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <string_view>

#include "StorageDevices/BlockStat.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/PathPattern.h"
#include "base/UniqueFd.h"
#include "runtime/Vorn/Failure.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageIOStatSm", true};

constexpr char collectName[] = "collectIoStatForDisk";
constexpr char pathVariable[] = "STORAGEDEVICES_IOSTAT_PATH_BASE";
constexpr Vorn::Seconds day = 86400;
constexpr unsigned sectorShift = 9;  // sectors of 512 bytes

// The first line of a file. The buffer has room for 20 numbers of 20 digits many times over. A longer line
// counts as empty, since a cut number would be wrong.
class FirstLine {
 public:
   bool open(std::string const & path) {
      do
         fd_.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
      while (!fd_ && errno == EINTR);
      return fd_.get() >= 0;
   }

   // False when there is none.
   bool read() {
      ssize_t size = 0;
      do
         size = ::read(fd_.get(), text_.data(), text_.size());
      while (size < 0 && errno == EINTR);
      if (size <= 0)
         return false;
      line_ = std::string_view{text_.data(), static_cast<std::size_t>(size)};
      std::size_t const end = line_.find('\n');
      if (end == std::string_view::npos && line_.size() == text_.size())
         line_ = {};
      else
         line_ = line_.substr(0, end);
      return true;
   }

   std::string_view text() const { return line_; }

 private:
   Base::UniqueFd fd_;
   std::array<char, 4096> text_;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled by `read`
   std::string_view line_;
};

}  // namespace

IOStatSm::IOStatSm(Pelm::Ptr<PollInterval const> pollInterval,
                   Pelm::Ptr<ConnectedDevices const> connectedDevices, Pelm::Ptr<IOStatData> ioStatData)
    : pollInterval_{std::move(pollInterval)},
      connectedDevices_{std::move(connectedDevices)},
      ioStatData_{std::move(ioStatData)} {
   pollIntervalReactor_.notifierIs(pollInterval_);
   pollIntervalReactor_.on<&IOStatSm::handlePollClock>(pollInterval_->interval, *this);
   pollIntervalReactor_.hasNotificationActiveIs(true);
   connectedDevicesReactor_.notifierIs(connectedDevices_);
   connectedDevicesReactor_.on<&IOStatSm::handleDisk>(connectedDevices_->disk, *this);
   connectedDevicesReactor_.hasNotificationActiveIs(true);
}

void IOStatSm::handleInitialized() {
   pollClock_.emplace(*this, Vorn::System::currentTime() + pollInterval_->interval());
   if (char const * const pattern = std::getenv(pathVariable))
      ioStatPathBaseIs(pattern);
   handleConnectedDevices();
   initialized.valueIs(true);
}

void IOStatSm::handleConnectedDevices() {
   for (auto const & [serial, history] : ioStatData_->ioStatData)
      if (!connectedDevices_->disk.contains(serial))
         ioStatData_->ioStatDataDel(serial);
   for (auto const & [serial, disk] : connectedDevices_->disk)
      handleConnectedDevices(serial);
}

void IOStatSm::handleConnectedDevices(Pelm::String const & serial) {
   if (!connectedDevices_->disk.contains(serial)) {
      ioStatData_->ioStatDataDel(serial);
   } else if (!ioStatData_->ioStatData.contains(serial)) {
      ioStatData_->ioStatDataIs(serial);
      collectIoStatForDisk(serial);
   }
}

void IOStatSm::handlePollClock() {
   if (!initialized())
      return;
   for (auto const entry : ioStatData_->ioStatData) {
      // A monitor that was dropped meanwhile samples no further disk.
      if (nodeFlag(Flag::zombie))
         return;
      Vorn::guarded<IOStatSm>([&] { collectIoStatForDisk(entry.key, *entry.value); });
   }
   pollClock_->timeMinIs(Vorn::System::currentTime() + pollInterval_->interval());
}

void IOStatSm::collectIoStatForDisk(Pelm::String const & serial) {
   if (Pelm::Ptr<IOStat> const history = ioStatData_->ioStatData(serial))
      collectIoStatForDisk(serial, *history);
}

void IOStatSm::collectIoStatForDisk(Pelm::String const & serial, IOStat & history) {
   Pelm::Ptr<ConnectedDisk const> const disk = connectedDevices_->disk(serial);
   if (disk && !sample(*disk, history))
      history.reading.failureIs("the statistics in /sys/block cannot be read");
}

bool IOStatSm::sample(ConnectedDisk const & disk, IOStat & history) {
   std::string const path = pathFromPattern(ioStatPathBase().view(), disk.blockDeviceName().view());
   FirstLine line;
   if (!line.open(path)) {
      VORN_TRACE(traceHandle, 0) << collectName << " failed to open " << path;
      openErrorCountInc();
      return false;
   }
   if (!line.read()) {
      VORN_TRACE(traceHandle, 0) << collectName << " failed to getline " << path;
      getlineErrorCountInc();
      return false;
   }
   auto const stat = readBlockStat(line.text());
   if (!stat) {
      VORN_TRACE(traceHandle, 0) << collectName << " failed to extract IO info";
      regexErrorCountInc();
      return false;
   }
   if (shouldRecordMeasurement()) {
      std::uint64_t const bytesRead = stat->sectorsRead << sectorShift;
      std::uint64_t const bytesWritten = stat->sectorsWritten << sectorShift;
      VORN_TRACE(traceHandle, 7) << collectName << " recording a measurement for " << disk.name() << ": ("
                                 << bytesRead << ", " << bytesWritten << ")";
      history.recordMeasurement(Vorn::System::currentTime(), bytesRead, bytesWritten);
   } else {
      history.reading.countInc();
   }
   history.pruneMeasurements(day + pollInterval_->interval());
   return true;
}

Pelm::Ptr<IOStatSm> iOStatSmFactory(Pelm::Ptr<PollInterval const> const & pollInterval,
                                    Pelm::Ptr<ConnectedDevices const> const & connectedDevices,
                                    Pelm::Ptr<IOStatData> const & ioStatData) {
   return Vorn::makeMachine<IOStatSm>(pollInterval, connectedDevices, ioStatData);
}

}  // namespace StorageDevices
