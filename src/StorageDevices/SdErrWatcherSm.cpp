#include "StorageDevices/SdErrWatcherSm.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "StorageDevices/Factories.h"
#include "StorageDevices/KernelLine.h"
#include "StorageDevices/LogMessages.h"
#include "runtime/Vorn/Errno.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageDevicesErrWatchSm", true};
LogMessages errWatcherLogs;

}  // namespace

StorageDeviceErrWatcherSm::StorageDeviceErrWatcherSm(Pelm::Ptr<StorageDevicesInfo> sdevInfo,
                                                     Pelm::Ptr<ConnectedDevices const> connDevs,
                                                     Pelm::String unixSockName)
    : sdevInfo_{std::move(sdevInfo)},
      connDevs_{std::move(connDevs)},
      unixSockName_{std::move(unixSockName)},
      socketFd_{Pelm::make<Vorn::FileDescriptor>("StorageDeviceErrWatcherSm")} {
   devicesReactor_.notifierIs(connDevs_);
   devicesReactor_.on<&StorageDeviceErrWatcherSm::handleDeviceAddRem>(connDevs_->disk, *this);
   socketReactor_.notifierIs(socketFd_);
   socketReactor_.on<&StorageDeviceErrWatcherSm::handleSocket>(socketFd_->readableCount, *this);
   socketReactor_.hasNotificationActiveIs(true);
}

StorageDeviceErrWatcherSm::~StorageDeviceErrWatcherSm() {
   handleDestruction();
}

void StorageDeviceErrWatcherSm::handleInitialized() {
   openSocket();
   devicesReactor_.hasNotificationActiveIs(true);
   initialized.valueIs(true);
   VORN_TRACE(traceHandle, 1) << "Socket opened"
                              << " path" << unixSockName_;
   checkStorageDevicesInfoColln();
}

void StorageDeviceErrWatcherSm::openSocket() {
   int const fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
   if (fd < 0) {
      VORN_TRACE(traceHandle, 0) << "StorageDeviceErrWatcherSm::handleInitialized() socket "
                                 << Vorn::Errno(errno, "socket");
      throw std::runtime_error{"creating unix dgram socket"};
   }
   sockAddr_.sun_family = AF_UNIX;
   std::string_view const path = unixSockName_.view();
   path.copy(sockAddr_.sun_path, sizeof sockAddr_.sun_path - 1);
   // The file inherits the socket's mode, so no other user can send kernel lines.
   fchmod(fd, S_IRUSR | S_IWUSR);
   unlink(sockAddr_.sun_path);
   if (bind(fd, reinterpret_cast<sockaddr const *>(&sockAddr_), sizeof sockAddr_) != 0) {
      VORN_TRACE(traceHandle, 0) << "StorageDeviceErrWatcherSm::handleInitialized() bind errno "
                                 << Vorn::Errno(errno, "bind");
      close(fd);
      throw std::runtime_error{"binding to dgram socket"};
   }
   kMsgSockFdIs(fd);
}

void StorageDeviceErrWatcherSm::kMsgSockFdIs(int fd) {
   kMsgSockFd.valueIs(fd);
   socketFd_->descriptorIs(fd);
   socketFd_->notifyOnReadableIs(fd >= 0);
}

void StorageDeviceErrWatcherSm::recvBufSizeIs(std::uint32_t value) {
   if (value == 0)
      throw std::invalid_argument{"recvBufSize: must have room for the end of a text, 1 or more"};
   recvBufSize.valueIs(value);
}

void StorageDeviceErrWatcherSm::checkStorageDevicesInfoColln() {
   for (auto const & [name, disk] : connDevs_->disk)
      handleDeviceAddRem(name);
   for (auto const & [name, record] : sdevInfo_->fsList)
      handleDeviceAddRem(name);
}

void StorageDeviceErrWatcherSm::handleDeviceAddRem(Pelm::String const & name) {
   Pelm::Ptr<ConnectedDisk const> const disk = connDevs_->disk(name);
   Pelm::Ptr<StorageDevErrorSyslogInfo> const record = sdevInfo_->fsList(name);
   if (disk && record) {
      VORN_TRACE(traceHandle, 7) << "handleDeviceAddRem"
                                 << " modify " << name << " to dev list";
      record->kernelDevNameIs(disk->blockDeviceName());
      record->firmwareRevisionIs(disk->firmwareRevision());
   } else if (record && record->removable()) {
      sdevInfo_->fsListDel(name);
   } else if (record) {
      record->disconnectCountInc(1);
   } else if (disk) {
      Pelm::String const interfaceAndAddress = disk->deviceIntfAndAddress();
      VORN_TRACE(traceHandle, 7) << "handleDeviceAddRem"
                                 << " add " << name << " " << interfaceAndAddress << " to dev list";
      sdevInfo_->fsListIs(name, disk->blockDevice(), interfaceAndAddress, disk->removable());
      Pelm::Ptr<StorageDevErrorSyslogInfo> const added = sdevInfo_->fsList(name);
      added->kernelDevNameIs(disk->blockDeviceName());
      added->modelIs(disk->model());
      added->firmwareRevisionIs(disk->firmwareRevision());
   }
}

void StorageDeviceErrWatcherSm::handleSocket() {
   handleReadable(kMsgSockFd());
}

void StorageDeviceErrWatcherSm::handleReadable(int fd) {
   Pelm::KeepAlive const keepAlive{*this};  // called by hosts, too
   if (!initialized())
      return;
   VORN_TRACE(traceHandle, 7) << "SdErrWatcher reading using socket " << fd;
   Vorn::Seconds const deadline = Vorn::System::currentTime() + maxProcessTime();
   buffer_.resize(recvBufSize());
   do {
      ssize_t const size = recv(fd, buffer_.data(), buffer_.size() - 1, 0);
      if (size < 0) {
         if (errno != EAGAIN)
            VORN_TRACE(traceHandle, 0) << "handleReadable"
                                       << " read error:" << Vorn::Errno(errno, "recv");
         return;
      }
      buffer_[static_cast<std::size_t>(size)] = '\0';
      VORN_TRACE(traceHandle, 7) << "received" << buffer_.c_str();
      processKernelMsg(buffer_.c_str());
      // A log message may have made the host drop the monitor.
   } while (!nodeFlag(Flag::zombie) && Vorn::System::currentTime() <= deadline);
}

void StorageDeviceErrWatcherSm::processKernelMsg(Pelm::String const & text) {
   VORN_TRACE(traceHandle, 7) << "processKernelMsg" << text.data();
   auto const captured = deviceInKernelLine(text.data());
   if (!captured)
      return;
   auto const match = Pelm::make<RegexMatch>(Pelm::String{*captured});
   VORN_TRACE(traceHandle, 7) << "regex matched! " << match->text;
   if (Pelm::Ptr<StorageDevErrorSyslogInfo> const record = recordNamed(match->text))
      maybeLog(*record);
}

Pelm::Ptr<StorageDevErrorSyslogInfo> StorageDeviceErrWatcherSm::recordNamed(
    Pelm::String const & kernelName) const {
   Pelm::Ptr<StorageDevErrorSyslogInfo> gone;
   for (auto const & [name, record] : sdevInfo_->fsList) {
      if (record->interfaceAndAddress() != kernelName && record->kernelDevName() != kernelName)
         continue;
      // A connected disk may have the port or the name of a removed one.
      if (connDevs_->disk.contains(name))
         return record;
      if (!gone)
         gone = record;
   }
   return gone;
}

void StorageDeviceErrWatcherSm::maybeLog(StorageDevErrorSyslogInfo & record) const {
   Vorn::Seconds const now = Vorn::System::currentTimeUtc();
   Vorn::Seconds const last = record.syslogTimestamp();
   Vorn::Seconds const since = now - last;
   if (last != 0 && !(since > Vorn::Seconds{static_cast<double>(syslogThreshold())})) {
      VORN_TRACE(traceHandle, 2) << "Syslog for " << record.blockDevice() << " sent " << since
                                 << " seconds ago.";
      return;
   }
   record.syslogTimestampIs(now);
   auto const log = [&record](auto & message) {
      message(record.blockDevice(), record.name(), record.model(), record.firmwareRevision());
   };
   if (record.removable())
      log(errWatcherLogs.ioErrorExternalUsb);
   else
      log(errWatcherLogs.ioError);
}

void StorageDeviceErrWatcherSm::handleDestruction() {
   int const fd = kMsgSockFd();
   if (fd < 0)
      return;
   socketFd_->notifyOnReadableIs(false);
   socketFd_->descriptorIs(-1);
   VORN_TRACE(traceHandle, 2) << " close socket";
   close(fd);
   VORN_TRACE(traceHandle, 2) << " unlink";
   unlink(sockAddr_.sun_path);
   kMsgSockFd.valueIs(-1);
}

Pelm::Ptr<StorageDeviceErrWatcherSm> storageDeviceErrWatcherSmFactory(
    Pelm::Ptr<StorageDevicesInfo> const & sdevInfo, Pelm::Ptr<ConnectedDevices const> const & connDevs,
    Pelm::String const & unixSockName) {
   return Vorn::makeMachine<StorageDeviceErrWatcherSm>(sdevInfo, connDevs, unixSockName);
}

}  // namespace StorageDevices
