// What a host finds in the monitors of file systems and of the kernel's messages, by name and type.
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <concepts>
#include <regex>
#include <sstream>
#include <type_traits>
#include <unordered_set>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthIoOps.h"
#include "StorageDevices/FsHealthSm.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "StorageDevices/MountPtMonitorSm.h"
#include "StorageDevices/SdErrWatcherSm.h"
#include "tests/support/DiskFields.h"
#include "tests/support/MountPoint.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

using Pelm::Ptr;
using Vorn::Seconds;

// A reader that gives a value of that type, const and references aside.
template <class T, class Value>
constexpr bool isA = std::same_as<std::remove_cvref_t<Value>, T>;

class FileSystemInterfaceTest : public Support::VirtualTimeTest {
 protected:
   FileSystemInterfaceTest() {
      Support::DiskFields{.mountPoint = folder_.string()}.writeTo(*devices_);
      MountPtMonitorHelper::creatorIs([] { return Pelm::make<MountPtMonitorHelper>(); });
   }
   ~FileSystemInterfaceTest() override { MountPtMonitorHelper::creatorIs(nullptr); }

   Support::TempDir folder_{Support::folderWithDirectIo()};
   Pelm::String mountPoint_{folder_.string()};
   Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
};

using State = FsHealthSmState;

TEST(FsHealthSmStateInterfaceTest, HasTheNamesAndNumbersOfTheStates) {
   constexpr std::array names{"idle", "setup", "writeTest", "readTest", "cleanup"};
   static_assert(sizeof(State) == 1);
   for (std::size_t number = 0; number < names.size(); ++number) {
      std::string const name = names[number];
      State const state{static_cast<unsigned char>(number)};
      EXPECT_EQ(state.stringValue(), name.c_str());
      EXPECT_EQ(State::instance(name.c_str()).value(), state);
      EXPECT_EQ(State::sequenceToValue(name.data(), name.data() + name.size()), state);
      EXPECT_EQ((State{name.data(), name.data() + name.size()}), state);
      std::ostringstream stream;
      stream << state;
      EXPECT_EQ(stream.str(), name);
   }
   std::unordered_set<State> const hashed{State{State::idle}, State{State::idle}, State{State::cleanup}};
   EXPECT_EQ(hashed.size(), 2U);
   EXPECT_TRUE(State{State::idle} != State{State::setup});
}

TEST_F(FileSystemInterfaceTest, OffersTheHealthTest) {
   Ptr<FsHealthSm> const test = fsHealthSmFactory(mountPoint_, 4096U, devices_);
   static_assert(isA<Pelm::String, decltype(test->mntPt())>);
   static_assert(isA<std::uint32_t, decltype(test->blkSize())>);
   static_assert(isA<Ptr<ConnectedDevices const>, decltype(test->devices())>);
   static_assert(isA<Ptr<FsHealthIoOps>, decltype(test->ioOps())>);
   static_assert(isA<Pelm::String, decltype(test->cookieFilePath())>);
   static_assert(isA<Pelm::String, decltype(test->cookieData())>);
   static_assert(std::same_as<char const *, decltype(test->alignedBlock())>);
   static_assert(isA<bool, decltype(test->syslogTriggered())>);
   static_assert(isA<std::uint64_t, decltype(test->nonSyslogErrorCount())>);
   static_assert(isA<std::uint64_t, decltype(test->eagainErrorCount())>);
   static_assert(isA<Ptr<Vorn::FileDescriptor const>, decltype(test->fsHealthSmFd())>);
   static_assert(isA<bool, decltype(test->writeTestOk())>);
   static_assert(isA<bool, decltype(test->readTestOk())>);
   static_assert(isA<bool, decltype(test->utilThresholdExceeded())>);
   static_assert(isA<State, decltype(test->state())>);
   static_assert(isA<bool, decltype(test->running())>);
   static_assert(isA<bool, decltype(test->initialized())>);
   EXPECT_EQ(test->mntPt(), mountPoint_);
   EXPECT_EQ(test->blkSize(), 4096U);
   EXPECT_EQ(test->devices(), devices_);
   EXPECT_EQ(test->cookieFilePath(), "");
   EXPECT_EQ(test->cookieData(), "");
   EXPECT_EQ(test->fsHealthSmFd()->name(), "fsHealthSm");
   EXPECT_EQ(test->testClock()->timeMin(), Seconds::infinity());
   EXPECT_EQ(test->utilChkClock()->timeMin(), Vorn::System::currentTime() + Seconds{120});
   EXPECT_TRUE(test->initialized());
   test->stateIs(State::cleanup);
}

TEST_F(FileSystemInterfaceTest, OffersTheFiguresOfTheHealthTestAsAttributes) {
   Ptr<FsHealthSm> const test = fsHealthSmFactory(mountPoint_, 4096U, devices_);
   static_assert(isA<std::uint32_t, decltype(test->highUtilThreshold())>);
   EXPECT_EQ(test->highUtilThreshold(), 85U);
   EXPECT_EQ(test->pauseDelay(), Seconds{86400});
   EXPECT_EQ(test->testDelay(), Seconds{300});
   EXPECT_EQ(test->hungDelay(), Seconds{300});
   EXPECT_EQ(test->utilChkDelay(), Seconds{120});
   test->highUtilThresholdIs(1);
   test->pauseDelayIs(2);
   test->testDelayIs(3);
   test->hungDelayIs(4);
   test->utilChkDelayIs(5);
   EXPECT_EQ(test->highUtilThreshold(), 1U);
   EXPECT_EQ(test->pauseDelay() + test->testDelay() + test->hungDelay() + test->utilChkDelay(), Seconds{14});
}

TEST_F(FileSystemInterfaceTest, OffersAnEmptyHealthTestBeforeItIsInitialised) {
   auto const test = Pelm::make<FsHealthSm>(mountPoint_, 4096U, devices_);
   EXPECT_FALSE(test->initialized());
   EXPECT_EQ(test->testClock(), nullptr);
   EXPECT_EQ(test->utilChkClock(), nullptr);
   EXPECT_EQ(test->alignedBlock(), nullptr);
   EXPECT_FALSE(test->fsHealthSmFd());
   EXPECT_FALSE(test->ioOps());
}

TEST_F(FileSystemInterfaceTest, OffersTheSystemCallsOfTheHealthTest) {
   Ptr<FsHealthIoOps> const ops = fsHealthIoOpsFactory();
   struct Named {
      FsHealthIoOps::Attribute const & attribute;
      void (FsHealthIoOps::*mutator)(std::int32_t);
      char const * name;
   };
   Named const all[] = {{ops->openRet, &FsHealthIoOps::openRetIs, "openRet"},
                        {ops->openErrno, &FsHealthIoOps::openErrnoIs, "openErrno"},
                        {ops->lseekRet, &FsHealthIoOps::lseekRetIs, "lseekRet"},
                        {ops->lseekErrno, &FsHealthIoOps::lseekErrnoIs, "lseekErrno"},
                        {ops->readRet, &FsHealthIoOps::readRetIs, "readRet"},
                        {ops->readErrno, &FsHealthIoOps::readErrnoIs, "readErrno"},
                        {ops->writeRet, &FsHealthIoOps::writeRetIs, "writeRet"},
                        {ops->writeErrno, &FsHealthIoOps::writeErrnoIs, "writeErrno"},
                        {ops->fsyncRet, &FsHealthIoOps::fsyncRetIs, "fsyncRet"},
                        {ops->fsyncErrno, &FsHealthIoOps::fsyncErrnoIs, "fsyncErrno"},
                        {ops->closeRet, &FsHealthIoOps::closeRetIs, "closeRet"},
                        {ops->closeErrno, &FsHealthIoOps::closeErrnoIs, "closeErrno"},
                        {ops->utilChkRet, &FsHealthIoOps::utilChkRetIs, "utilChkRet"}};
   std::int32_t value = -100;
   for (Named const & named : all) {
      EXPECT_EQ(named.attribute(), 0) << named.name;
      EXPECT_STREQ(named.attribute.id(), named.name);
      ((*ops).*named.mutator)(--value);
      EXPECT_EQ(named.attribute(), value) << named.name;
   }
   static_assert(std::same_as<int, decltype(ops->openPath(Pelm::String{}, int{}))>);
   static_assert(std::same_as<int, decltype(ops->getUtilPercent(Pelm::String{}))>);
   char block[8];
   static_assert(std::signed_integral<decltype(ops->lseekFd(int{}, int{}, int{}))>);
   static_assert(std::signed_integral<decltype(ops->readFd(int{}, block, std::uint32_t{}))>);
   static_assert(std::signed_integral<decltype(ops->writeFd(int{}, &std::as_const(block), std::uint32_t{}))>);
   static_assert(std::same_as<int, decltype(ops->fsyncFd(int{}))>);
   static_assert(std::same_as<int, decltype(ops->closeFd(int{}))>);
}

TEST_F(FileSystemInterfaceTest, OffersTheMonitorOfAMountPoint) {
   auto const helper = Pelm::make<MountPtMonitorHelper>();
   Ptr<MountPtMonitorSm> const monitor = mountPtMonitorSmFactory(mountPoint_, helper, devices_);
   static_assert(isA<Ptr<MountPtMonitorHelper>, decltype(monitor->helper())>);
   static_assert(isA<Ptr<ConnectedDevices const>, decltype(monitor->devices())>);
   static_assert(isA<Ptr<FsHealthSm>, decltype(monitor->fsHealthSm())>);
   static_assert(isA<std::uint32_t, decltype(monitor->mountPtDeviceBlkSize())>);
   static_assert(isA<std::uint32_t, decltype(monitor->initialMountFailuresRemaining())>);
   EXPECT_EQ(monitor->mountPt(), mountPoint_);
   EXPECT_EQ(monitor->helper(), helper);
   EXPECT_EQ(monitor->devices(), devices_);
   EXPECT_EQ(monitor->mountPtDevice(), "");
   EXPECT_EQ(monitor->mountPtDeviceBlkSize(), 0U);
   EXPECT_FALSE(monitor->fsHealthSm());
   EXPECT_EQ(monitor->holdOffTime(), Seconds{86400});
   EXPECT_EQ(monitor->periodicCheckTime(), Seconds{300});
   EXPECT_EQ(monitor->initialMountFailuresRemaining(), 12U);
   EXPECT_EQ(monitor->testClock()->timeMin(), Vorn::System::currentTime());
   EXPECT_TRUE(monitor->initialized());
   monitor->holdOffTimeIs(1);
   monitor->periodicCheckTimeIs(2);
   monitor->fsHealthSmIs(mountPoint_, 512U, devices_);
   EXPECT_EQ(monitor->fsHealthSm()->blkSize(), 512U);
   EXPECT_EQ(Pelm::make<MountPtMonitorSm>(mountPoint_, helper, devices_)->testClock(), nullptr);
}

TEST_F(FileSystemInterfaceTest, OffersTheManagerOfMountPoints) {
   Ptr<MountPtMonitorManagerSm> const manager = mountPtMonitorManagerSmFactory(devices_);
   static_assert(isA<Ptr<ConnectedDevices>, decltype(manager->devices())>);
   static_assert(isA<Ptr<MountPtMonitorHelper>, decltype(manager->helper())>);
   EXPECT_EQ(manager->devices(), devices_);
   ASSERT_EQ(manager->mountPtMonitorSm.size(), 1U);
   EXPECT_EQ(manager->helper(), manager->mountPtMonitorSm(mountPoint_)->helper());
   manager->mountPtMonitorSmIs("/mnt/other", MountPtMonitorHelper::make(), devices_);
   EXPECT_EQ(manager->mountPtMonitorSm("/mnt/other")->mountPt(), "/mnt/other");
   manager->mountPtMonitorSmDel("/mnt/other");
   EXPECT_FALSE(manager->mountPtMonitorSm("/mnt/other"));
   manager->mountPtMonitorSmDelAll();
   EXPECT_TRUE(manager->mountPtMonitorSm.empty());
}

TEST_F(FileSystemInterfaceTest, OffersTheWatcherOfKernelErrors) {
   auto const info = Pelm::make<StorageDevicesInfo>();
   Pelm::String const path{folder_.string() + "/socket"};
   Ptr<StorageDeviceErrWatcherSm> const watcher = storageDeviceErrWatcherSmFactory(info, devices_, path);
   static_assert(isA<Ptr<StorageDevicesInfo>, decltype(watcher->sdevInfo())>);
   static_assert(isA<Ptr<ConnectedDevices const>, decltype(watcher->connDevs())>);
   static_assert(isA<std::int32_t, decltype(watcher->kMsgSockFd())>);
   static_assert(isA<sockaddr_un, decltype(watcher->sockAddr())>);
   static_assert(isA<std::uint32_t, decltype(watcher->recvBufSize())>);
   static_assert(isA<Seconds, decltype(watcher->maxProcessTime())>);
   static_assert(isA<std::uint32_t, decltype(watcher->syslogThreshold())>);
   static_assert(isA<std::array<std::regex, 9>, decltype(watcher->regex())>);
   EXPECT_EQ(watcher->sdevInfo(), info);
   EXPECT_EQ(watcher->connDevs(), devices_);
   EXPECT_EQ(watcher->unixSockName(), path);
   EXPECT_EQ(watcher->sockAddr().sun_family, AF_UNIX);
   EXPECT_EQ(path, watcher->sockAddr().sun_path);
   EXPECT_EQ(watcher->recvBufSize(), 1025U);
   EXPECT_EQ(watcher->maxProcessTime(), Seconds{0.5});
   EXPECT_EQ(watcher->syslogThreshold(), 86400U);
   EXPECT_TRUE(watcher->initialized());
   watcher->handleReadable(watcher->kMsgSockFd());
   watcher->processKernelMsg(Pelm::String{"a line"});
   watcher->handleDeviceAddRem("KS0001");
   watcher->handleDestruction();
   EXPECT_EQ(watcher->kMsgSockFd(), -1);
}

TEST_F(FileSystemInterfaceTest, OffersTheExpressionsOfTheWatcherInTheirOrder) {
   char const * const lines[9] = {"usb 1-2: device descriptor read",
                                  "ata1: hard resetting link",
                                  "mmc0: Timeout waiting for hardware",
                                  "FAT-fs (sda): FAT read failed",
                                  "EXT4-fs error (device sda):",
                                  "sd 0:0:0:0: [sda] Unhandled error",
                                  "blk_update_request: I/O error, dev sda, sector 1",
                                  "end_request: I/O error, dev sda, sector 1",
                                  "Buffer I/O error on device sda, logical block 1"};
   auto const & expressions = StorageDeviceErrWatcherSm::regex();
   for (std::size_t i = 0; i < expressions.size(); ++i)
      for (std::size_t line = 0; line < std::size(lines); ++line)
         EXPECT_EQ(std::regex_search(std::string{"kernel: [1.2] "} + lines[line], expressions[i]), i == line)
             << i << ": " << lines[line];
}

}  // namespace

}  // namespace StorageDevices
