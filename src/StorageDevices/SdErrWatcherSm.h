// Logs the storage errors in the kernel's messages, at most one message per device and day.
//
// Inputs: kernel lines, one per datagram, on a Unix socket of its own; the connected disks. Outputs:
// IO_ERROR and IO_ERROR_EXTERNAL_USB, and a record per device in `StorageDevicesInfo`, which outlives the
// monitor and the removal of a fixed device.
//
// A line is hostile: it is bounded, and matched in time linear to its length. A line that names no device of
// a record is ignored. A device is named by its kernel name (sda) or its port (ata2).
#pragma once

#include <sys/un.h>

#include <array>
#include <cstdint>
#include <regex>
#include <string>
#include <utility>

#include "StorageDevices/ConnectedDevices.h"
#include "StorageDevices/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Seconds.h"
#include "runtime/model/StorageDevicesInfo.h"

namespace StorageDevices {

class STORAGEDEVICES_API StorageDeviceErrWatcherSm final : public Pelm::Node {
 public:
   StorageDeviceErrWatcherSm(Pelm::Ptr<StorageDevicesInfo> sdevInfo,
                             Pelm::Ptr<ConnectedDevices const> connDevs, Pelm::String unixSockName);
   ~StorageDeviceErrWatcherSm() override;

   Pelm::Ptr<StorageDevicesInfo> const & sdevInfo() const { return sdevInfo_; }
   Pelm::Ptr<ConnectedDevices const> const & connDevs() const { return connDevs_; }
   Pelm::String const & unixSockName() const { return unixSockName_; }
   // The address of the socket; a longer `unixSockName` is cut.
   sockaddr_un const & sockAddr() const { return sockAddr_; }
   // The expressions for kernel lines, in their order. Compiled at the first call; the watcher itself does
   // not use them (KernelLine.h).
   static std::array<std::regex, 9> const & regex();

   template <class T>
   using Attribute = Vorn::Attribute<T, StorageDeviceErrWatcherSm>;

   // The socket; -1: none.
   Attribute<std::int32_t> kMsgSockFd{*this, "kMsgSockFd", -1};
   // Bytes; a line is read up to one byte less, and the rest of its datagram is dropped.
   Attribute<std::uint32_t> recvBufSize{*this, "recvBufSize", 1025};
   // Throws std::invalid_argument for 0.
   void recvBufSizeIs(std::uint32_t value);
   // Seconds that one notification may spend reading.
   Attribute<Vorn::Seconds> maxProcessTime{*this, "maxProcessTime", 0.5};
   void maxProcessTimeIs(Vorn::Seconds value) { maxProcessTime.valueIs(value); }
   // Shortest time between two messages for one device, in seconds.
   Attribute<std::uint32_t> syslogThreshold{*this, "syslogThreshold", 86400};
   void syslogThresholdIs(std::uint32_t value) { syslogThreshold.valueIs(value); }
   // Whether the socket is bound.
   Attribute<bool> initialized{*this, "initialized", false};

   // Binds the socket, with mode 0600, and makes a record for each connected disk. Raises std::runtime_error
   // when the socket cannot be created or bound; then nothing is watched.
   void handleInitialized();
   // A disk came, changed or went: makes, updates or deletes its record, or counts the disconnection of a
   // fixed one.
   void handleDeviceAddRem(Pelm::String const & name);
   // Reads datagrams until there are no more or `maxProcessTime` is over; the rest follows in the next turn.
   void handleReadable(int fd);
   // One kernel line, up to a NUL. Logs the device that it names, if its last message is old enough.
   void processKernelMsg(Pelm::String const & text);
   // Closes the socket and removes its file.
   void handleDestruction();

 private:
   // The kernel's name of the device in a line.
   struct RegexMatch : public Pelm::Node {
      explicit RegexMatch(Pelm::String captured) : text{std::move(captured)} {}
      Pelm::String text;
   };

   void kMsgSockFdIs(int fd);
   void openSocket();
   void handleSocket();
   void checkStorageDevicesInfoColln();
   Pelm::Ptr<StorageDevErrorSyslogInfo> recordNamed(Pelm::String const & kernelName) const;
   void maybeLog(StorageDevErrorSyslogInfo & record) const;

   Pelm::Ptr<StorageDevicesInfo> sdevInfo_;
   Pelm::Ptr<ConnectedDevices const> connDevs_;
   Pelm::String unixSockName_;
   sockaddr_un sockAddr_{};
   std::string buffer_;
   Pelm::Ptr<Vorn::FileDescriptor> socketFd_;
   Vorn::NotifieeConst devicesReactor_;
   Vorn::NotifieeConst socketReactor_;
};

}  // namespace StorageDevices
