// The watch of the kernel's lines, with a fixed and a removable disk.
#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <string>
#include <string_view>
#include <vector>

#include "StorageDevices/Factories.h"
#include "StorageDevices/SdErrWatcherSm.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

// Sends datagrams to a path.
class KernelLineSender {
 public:
   explicit KernelLineSender(std::string const & path) {
      address_.sun_family = AF_UNIX;
      path.copy(address_.sun_path, sizeof address_.sun_path - 1);
   }
   KernelLineSender(KernelLineSender const &) = delete;
   KernelLineSender & operator=(KernelLineSender const &) = delete;
   ~KernelLineSender() { close(fd_); }

   // False when the socket does not take it.
   bool send(std::string_view line) const {
      return sendto(fd_, line.data(), line.size(), MSG_DONTWAIT,
                    reinterpret_cast<sockaddr const *>(&address_),
                    sizeof address_) == static_cast<ssize_t>(line.size());
   }

 private:
   int fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   sockaddr_un address_{};
};

class SdErrWatcherSmTest : public Support::VirtualTimeTest {
 protected:
   using Texts = std::vector<std::string>;
   using DiskFields = Support::DiskFields;
   using Sender = KernelLineSender;

   SdErrWatcherSmTest() {
      sata_.writeTo(*devices_);
      stick_.writeTo(*devices_);
   }

   void start() { watcher_ = storageDeviceErrWatcherSmFactory(info_, devices_, Pelm::String{path_}); }
   void line(std::string const & text) const {
      ASSERT_TRUE(Sender{path_}.send("kernel: [  123.456789] " + text));
      Vorn::Host::turn();
   }
   Pelm::Ptr<StorageDevErrorSyslogInfo> record(char const * serial) const { return info_->fsList(serial); }
   // The fixed disk is pulled, and that one is plugged.
   void fixedDiskBecomes(DiskFields const & next) const {
      devices_->diskDel("KS0001");
      next.writeTo(*devices_);
   }

   Support::TempDir folder_;
   std::string path_ = folder_.string() + "/kernelmessages";
   DiskFields sata_;
   DiskFields stick_{.name = "VT01",
                     .blockDevice = "/dev/sdb",
                     .mountPoint = "/mnt/usb1",
                     .model = "Stick",
                     .firmwareRevision = "1.0",
                     .removable = true,
                     .busType = ConnectedDisk::BusType::usb,
                     .devAddress = "2-1"};
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"StorageDevicesErrWatchSm", 7}};
   Pelm::Ptr<StorageDevicesInfo> info_ = Pelm::make<StorageDevicesInfo>();
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<StorageDeviceErrWatcherSm> watcher_;
};

}  // namespace StorageDevices
