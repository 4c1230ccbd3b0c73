#include <sys/socket.h>

#include <regex>

#include "Host.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/SdErrWatcherSm.h"

namespace InstalledHost {

namespace {

using namespace StorageDevices;

TEST_F(InstalledHostTest, LogsErrorsThatTheKernelReports) {
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   auto const info = Pelm::make<StorageDevicesInfo>();
   auto const watcher = storageDeviceErrWatcherSmFactory(info, devices, (folder / "kernel").c_str());
   ASSERT_TRUE(watcher->initialized());
   EXPECT_GE(watcher->kMsgSockFd(), 0);
   EXPECT_EQ(watcher->unixSockName(), (folder / "kernel").c_str());
   EXPECT_EQ(watcher->sdevInfo(), info);
   EXPECT_EQ(watcher->connDevs(), devices);
   EXPECT_EQ(watcher->sockAddr().sun_family, AF_UNIX);
   EXPECT_TRUE(std::regex_search("kernel: [1.2] ata1: hard resetting link", watcher->regex()[1]));
   watcher->handleReadable(watcher->kMsgSockFd());
   watcher->recvBufSizeIs(2000);
   watcher->maxProcessTimeIs(0.25);
   watcher->syslogThresholdIs(100);
   EXPECT_EQ(watcher->recvBufSize(), 2000U);
   EXPECT_EQ(watcher->maxProcessTime(), 0.25);
   EXPECT_EQ(watcher->syslogThreshold(), 100U);
   watcher->processKernelMsg("kernel: [   12.345678] blk_update_request: I/O error, dev sda, sector 8");
   ASSERT_EQ(logged.size(), 1U);
   EXPECT_EQ(info->fsList("S1")->kernelDevName(), "sda");
   devices->diskDel("S1");
   watcher->handleDeviceAddRem("S1");
   EXPECT_GE(info->fsList("S1")->disconnectCount(), 1U);
   watcher->handleDestruction();
}

// As another program on the machine does.
void sendLine(StorageDeviceErrWatcherSm const & watcher, std::string const & line) {
   int const sender = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   EXPECT_EQ(sendto(sender, line.data(), line.size(), 0,
                    reinterpret_cast<sockaddr const *>(&watcher.sockAddr()), sizeof watcher.sockAddr()),
             static_cast<ssize_t>(line.size()));
   close(sender);
}

TEST_F(InstalledHostTest, StartsStopsAndResumesAWatcherOfItsOwn) {
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   auto const watcher = Pelm::make<StorageDeviceErrWatcherSm>(Pelm::make<StorageDevicesInfo>(), devices,
                                                              (folder / "kernel").c_str());
   EXPECT_EQ(watcher->kMsgSockFd(), -1);
   watcher->handleInitialized();
   EXPECT_TRUE(watcher->initialized());
   watcher->vornDoZombieReactors(true);
   sendLine(*watcher, "kernel: [   12.345678] blk_update_request: I/O error, dev sda, sector 8");
   turn();
   EXPECT_TRUE(logged.empty());
   watcher->vornDoZombieReactors(false);
   EXPECT_TRUE(eventually([&] { return logged.size() == 1; }));
}

}  // namespace

}  // namespace InstalledHost
