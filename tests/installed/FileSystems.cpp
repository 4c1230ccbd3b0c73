#include <fcntl.h>

#include <array>
#include <cerrno>

#include "Host.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthIoOps.h"
#include "StorageDevices/FsHealthSm.h"
#include "StorageDevices/MountPtMonitorManagerSm.h"
#include "StorageDevices/MountPtMonitorSm.h"

namespace InstalledHost {

namespace {

using namespace StorageDevices;
using State = FsHealthSmState;

constexpr unsigned blkSize = 4096;

TEST_F(InstalledHostTest, TestsAFileSystemFromStartToStop) {
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   auto const test = fsHealthSmFactory(folder.c_str(), blkSize, devices);
   ASSERT_TRUE(test->initialized());
   test->testDelayIs(10);
   test->hungDelayIs(20);
   test->pauseDelayIs(30);
   test->utilChkDelayIs(40);
   test->highUtilThresholdIs(100);
   EXPECT_EQ(test->testDelay() + test->hungDelay() + test->pauseDelay() + test->utilChkDelay(), 100);
   EXPECT_EQ(test->highUtilThreshold(), 100U);
   test->start();
   ASSERT_EQ(test->state(), State::writeTest);
   EXPECT_TRUE(test->running());
   // A file system without direct I/O (tmpfs) fails to open, which is traced, not logged.
   EXPECT_TRUE(eventually([&] { return test->state() == State::idle; }));
   EXPECT_EQ(test->readTestOk(), test->nonSyslogErrorCount() == 0);
   EXPECT_EQ(test->writeTestOk(), test->readTestOk());
   test->doUtilChk();
   test->handleTestClock();
   EXPECT_EQ(test->cookieData().size(), blkSize);
   EXPECT_EQ(test->cookieFilePath(), (folder / "debug" / "healthTestCookie").c_str());
   EXPECT_EQ(test->eagainErrorCount(), 0U);
   EXPECT_FALSE(test->utilThresholdExceeded());
   test->stop();
   EXPECT_EQ(test->state(), State::cleanup);
   EXPECT_FALSE(test->running());
   EXPECT_EQ(test->mntPt(), folder.c_str());
   EXPECT_EQ(test->devices(), devices);
   EXPECT_EQ(test->fsHealthSmFd()->descriptor(), -1);
   EXPECT_NE(test->alignedBlock(), nullptr);
   EXPECT_LT(test->utilChkClock()->timeMin(), Vorn::Seconds::infinity());
   EXPECT_EQ(test->blkSize(), blkSize);
   EXPECT_EQ(test->testClock()->timeMin(), Vorn::Seconds::infinity());
   EXPECT_EQ(logged, std::vector<std::string>{});
}

TEST_F(InstalledHostTest, EntersTheStatesOfATest) {
   auto const test = fsHealthSmFactory(folder.c_str(), blkSize, devices);
   test->ioOps()->lseekRetIs(-1);
   test->ioOps()->lseekErrnoIs(EIO);
   test->doWriteTest();
   EXPECT_TRUE(test->syslogTriggered());
   test->doReadTest();
   EXPECT_EQ(logged.size(), 2U);
   test->stateIs(State::idle);
   EXPECT_EQ(test->state().stringValue(), "idle");
   EXPECT_EQ(State::sequenceToValue(std::begin("setup"), std::end("setup") - 1), State::setup);
}

TEST_F(InstalledHostTest, StartsStopsAndResumesATestOfItsOwn) {
   auto const test = Pelm::make<FsHealthSm>(folder.c_str(), blkSize, devices);
   test->start();
   EXPECT_FALSE(test->running());
   test->handleInitialized();
   EXPECT_TRUE(test->initialized());
   test->start();
   ASSERT_EQ(test->state(), State::writeTest);
   test->vornDoZombieReactors(true);
   Vorn::Host::runFor(86400);
   EXPECT_EQ(test->state(), State::writeTest);
   test->vornDoZombieReactors(false);
   EXPECT_TRUE(eventually([&] { return test->state() == State::idle; }));
}

TEST_F(InstalledHostTest, MakesTheCallsOfATest) {
   auto const ops = fsHealthIoOpsFactory();
   Pelm::String const path = (folder / "file").c_str();
   std::array<char, 8> text{"0123456"};
   int const fd = ops->openPath(path, O_RDWR | O_CREAT);
   ASSERT_GE(fd, 0);
   EXPECT_EQ(ops->writeFd(fd, text.data(), text.size()), 8);
   EXPECT_EQ(ops->fsyncFd(fd), 0);
   EXPECT_EQ(ops->lseekFd(fd, 4, SEEK_SET), 4);
   EXPECT_EQ(ops->readFd(fd, text.data(), text.size()), 4);
   EXPECT_EQ(text[0], '4');
   EXPECT_EQ(ops->closeFd(fd), 0);
   EXPECT_EQ(ops->closeFd(fd), -1);
   EXPECT_EQ(errno, EBADF);
   EXPECT_EQ(ops->openCookie(folder.c_str(), O_RDONLY), -1);
   EXPECT_EQ(errno, ENOENT);
   EXPECT_GE(ops->getUtilPercent(folder.c_str()), -1);
   EXPECT_EQ(ops->getUtilPercent("/nowhere/at/all"), -1);
}

// The operation answers what was injected, with the errno that was.
template <class Call>
void expectInjected(Call const & call, int number) {
   errno = 0;
   EXPECT_EQ(call(), -number);
   EXPECT_EQ(errno, number);
}

TEST_F(InstalledHostTest, MakesTheCallsOfATestFail) {
   auto const ops = fsHealthIoOpsFactory();
   ops->openRetIs(-EIO), ops->openErrnoIs(EIO);
   ops->lseekRetIs(-EBADF), ops->lseekErrnoIs(EBADF);
   ops->readRetIs(-EAGAIN), ops->readErrnoIs(EAGAIN);
   ops->writeRetIs(-ENOSPC), ops->writeErrnoIs(ENOSPC);
   ops->fsyncRetIs(-EDQUOT), ops->fsyncErrnoIs(EDQUOT);
   ops->closeRetIs(-EINTR), ops->closeErrnoIs(EINTR);
   ops->utilChkRetIs(90);
   EXPECT_EQ(ops->openRet(), -ops->openErrno());
   EXPECT_EQ(ops->lseekRet(), -ops->lseekErrno());
   EXPECT_EQ(ops->readRet(), -ops->readErrno());
   EXPECT_EQ(ops->writeRet(), -ops->writeErrno());
   EXPECT_EQ(ops->fsyncRet(), -ops->fsyncErrno());
   EXPECT_EQ(ops->closeRet(), -ops->closeErrno());
   EXPECT_EQ(ops->utilChkRet(), 90);
   char byte = 0;
   expectInjected([&] { return ops->openPath("/nowhere", O_RDONLY); }, EIO);
   expectInjected([&] { return ops->lseekFd(-1, 0, SEEK_SET); }, EBADF);
   expectInjected([&] { return ops->readFd(-1, &byte, 1); }, EAGAIN);
   expectInjected([&] { return ops->writeFd(-1, &byte, 1); }, ENOSPC);
   expectInjected([&] { return ops->fsyncFd(-1); }, EDQUOT);
   expectInjected([&] { return ops->closeFd(-1); }, EINTR);
   EXPECT_EQ(ops->getUtilPercent("/nowhere"), 90);
}

// Answers as if the folder were a mount point.
class Helper final : public MountPtMonitorHelper {
 public:
   MountState mountState(Pelm::String const &) const override { return {true, false, "/dev/sda1", blkSize}; }
};

TEST_F(InstalledHostTest, WatchesAMountPoint) {
   auto const monitor = mountPtMonitorSmFactory(folder.c_str(), Pelm::make<Helper>(), devices);
   monitor->holdOffTimeIs(1000);
   monitor->periodicCheckTimeIs(100);
   EXPECT_EQ(monitor->holdOffTime() + monitor->periodicCheckTime(), 1100);
   EXPECT_TRUE(eventually([&] { return bool{monitor->fsHealthSm()}; }));
   EXPECT_TRUE(monitor->fsHealthSm()->running());
   monitor->handleTestClock();
   EXPECT_EQ(monitor->mountPt(), folder.c_str());
   EXPECT_TRUE(monitor->helper());
   EXPECT_EQ(monitor->devices(), devices);
   EXPECT_LT(monitor->testClock()->timeMin(), Vorn::Seconds::infinity());
   EXPECT_EQ(monitor->mountPtDevice(), "/dev/sda1");
   EXPECT_EQ(monitor->mountPtDeviceBlkSize(), blkSize);
   monitor->fsHealthSmIs(folder.c_str(), blkSize, devices);
   EXPECT_TRUE(monitor->initialized());
   EXPECT_LE(monitor->initialMountFailuresRemaining(), 12U);
}

TEST_F(InstalledHostTest, StartsStopsAndResumesAMonitorOfItsOwn) {
   auto const monitor = Pelm::make<MountPtMonitorSm>(folder.c_str(), Pelm::make<Helper>(), devices);
   EXPECT_FALSE(monitor->initialized());
   monitor->handleInitialized();
   EXPECT_TRUE(monitor->initialized());
   monitor->vornDoZombieReactors(true);
   Vorn::Host::runFor(600);
   EXPECT_FALSE(monitor->fsHealthSm());
   monitor->vornDoZombieReactors(false);
   EXPECT_TRUE(eventually([&] { return bool{monitor->fsHealthSm()}; }));
}

TEST_F(InstalledHostTest, WatchesTheMountPointsOfItsFixedDisks) {
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   MountPtMonitorHelper::creatorIs([] { return Pelm::Ptr<MountPtMonitorHelper>{Pelm::make<Helper>()}; });
   auto const manager = mountPtMonitorManagerSmFactory(devices);
   EXPECT_EQ(manager->mountPtMonitorSm.size(), 1U);
   EXPECT_EQ(manager->devices(), devices);
   EXPECT_TRUE(manager->helper());
   manager->mountPtMonitorSmIs("/mnt/other", MountPtMonitorHelper::make(), devices);
   MountPtMonitorHelper::creatorIs(nullptr);
   EXPECT_TRUE(manager->mountPtMonitorSm("/mnt/other"));
   manager->mountPtMonitorSmDel("/mnt/other");
   EXPECT_EQ(manager->mountPtMonitorSm.size(), 1U);
   manager->mountPtMonitorSmDelAll();
   EXPECT_TRUE(manager->mountPtMonitorSm.empty());
}

TEST_F(InstalledHostTest, StopsAndResumesAllMonitorsAtOnce) {
   addDisk("S1", ConnectedDisk::BusType::sata, "/dev/sda");
   MountPtMonitorHelper::creatorIs([] { return Pelm::Ptr<MountPtMonitorHelper>{Pelm::make<Helper>()}; });
   auto const manager = Pelm::make<MountPtMonitorManagerSm>(devices);
   EXPECT_TRUE(manager->mountPtMonitorSm.empty());
   manager->handleInitialized();
   MountPtMonitorHelper::creatorIs(nullptr);
   auto const monitor = manager->mountPtMonitorSm(folder.c_str());
   ASSERT_TRUE(monitor);
   manager->vornDoZombieReactors(true);
   Vorn::Host::runFor(600);
   EXPECT_FALSE(monitor->fsHealthSm());
   manager->vornDoZombieReactors(false);
   EXPECT_TRUE(eventually([&] { return bool{monitor->fsHealthSm()}; }));
}

}  // namespace

}  // namespace InstalledHost
