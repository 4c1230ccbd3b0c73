// The calls of a health test, and the use of a file system that they report.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <optional>

#include "runtime/host/Log.h"
#include "tests/StorageDevices/FsHealthSmTest.h"
#include "tests/support/NextCall.h"

namespace {

std::optional<struct statvfs> statvfsAnswer;
std::string statvfsPath;

}  // namespace

// In the place of the C library's for this program.
extern "C" [[gnu::visibility("default")]] int statvfs(char const * path, struct statvfs * status) noexcept {
   static auto const real = Support::nextCall(&statvfs);
   if (!statvfsAnswer)
      return real(path, status);
   *status = *statvfsAnswer;
   statvfsPath = path;
   return 0;
}

namespace StorageDevices {

namespace {

using Texts = std::vector<std::string>;

TEST_F(FsHealthSmTest, SamplesTheUseOfItsMountPoint) {
   statvfsAnswer.emplace();
   Vorn::Host::runFor(121);
   statvfsAnswer.reset();
   EXPECT_EQ(statvfsPath, folder_.string());
}

TEST_F(FsHealthSmTest, WarnsOnceWhenTheUseRisesAboveTheThreshold) {
   auto const use = [&](int percent) {
      ops().utilChkRetIs(percent);
      Vorn::Host::runFor(120);
   };
   use(85);
   EXPECT_TRUE(logs_.messages().empty());
   use(86);
   EXPECT_EQ(logged(), Texts{"STORAGEDEVICE_MONITOR_WARNING: has exceeded 85 percent"});
   EXPECT_TRUE(machine_->utilThresholdExceeded());
   use(99);
   EXPECT_EQ(logged().size(), 1U);
   use(-1);
   EXPECT_TRUE(machine_->utilThresholdExceeded()) << "not knowing changes nothing";
   EXPECT_EQ(traces_.texts(7).back(), "doUtilChkFailed to get disk utilization for: " + folder_.string());
   use(85);
   EXPECT_FALSE(machine_->utilThresholdExceeded());
   use(86);
   EXPECT_EQ(logged().size(), 2U);
}

TEST_F(FsHealthSmTest, WarnsBeforeItRecordsTheThresholdAsExceeded) {
   std::optional<bool> exceeded;
   Vorn::Host::logSinkIs(
       [&](Vorn::Host::LogMessage const &) { exceeded = machine_->utilThresholdExceeded(); });
   ops().utilChkRetIs(86);
   Vorn::Host::runFor(121);
   EXPECT_EQ(exceeded, false);
   EXPECT_TRUE(machine_->utilThresholdExceeded());
}

TEST_F(FsHealthSmTest, AllowsItsWarningToMakeTheHostReleaseIt) {
   Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const &) { machine_ = nullptr; });
   ops().utilChkRetIs(86);
   Vorn::Host::runFor(day);
   EXPECT_FALSE(machine_);
}

TEST_F(FsHealthSmTest, WritesEightyFivePercentInTheWarningWhateverTheThreshold) {
   machine_->highUtilThresholdIs(10);
   ops().utilChkRetIs(11);
   Vorn::Host::runFor(121);
   EXPECT_EQ(logs_.texts(), Texts{"disk utilization on " + folder_.string() +
                                  " (SN:S1 Model:Kestrel_S2 Firmware:KF1.2) has exceeded 85 percent"});
}

TEST_F(FsHealthSmTest, SamplesTheUseEveryTwoMinutesFromTheStartAlsoWhenStopped) {
   ops().utilChkRetIs(50);
   machine_->stop();
   Vorn::Host::runFor(119);
   EXPECT_TRUE(traces_.texts(7).empty());
   Vorn::Host::runFor(241);
   EXPECT_EQ(traces_.texts(7), Texts(3, "doUtilChk: Disk Utilization for " + folder_.string() + " 50"));
}

class FsHealthIoOpsTest : public testing::Test {
 protected:
   Support::TempDir folder_;
   Pelm::Ptr<FsHealthIoOps> ops_ = fsHealthIoOpsFactory();
};

TEST_F(FsHealthIoOpsTest, MakesTheRealCallsByDefault) {
   Pelm::String const path{(folder_.path() / "file").string()};
   int const fd = ops_->openPath(path, O_RDWR | O_CREAT);
   ASSERT_GE(fd, 0);
   EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
   EXPECT_EQ(ops_->writeFd(fd, "hello", 5), 5);
   EXPECT_EQ(ops_->lseekFd(fd, 1, SEEK_SET), 1);
   char text[8] = {};
   EXPECT_EQ(ops_->readFd(fd, text, 4), 4);
   EXPECT_STREQ(text, "ello");
   EXPECT_EQ(ops_->fsyncFd(fd), 0);
   EXPECT_EQ(ops_->closeFd(fd), 0);
   EXPECT_EQ(ops_->closeFd(fd), -1);
   EXPECT_EQ(errno, EBADF);
   EXPECT_EQ(ops_->getUtilPercent("/nowhere"), -1);
   EXPECT_EQ(ops_->getUtilPercent("/proc"), -1) << "no used and no available blocks";
}

TEST_F(FsHealthIoOpsTest, OpensAnyPathThatAHostNames) {
   folder_.write("file", "data");
   std::filesystem::create_symlink("file", folder_.path() / "link");
   int const fd = ops_->openPath(Pelm::String{(folder_.path() / "link").string()}, O_RDONLY);
   ASSERT_GE(fd, 0);
   char text[8] = {};
   EXPECT_EQ(ops_->readFd(fd, text, 4), 4);
   EXPECT_STREQ(text, "data");
   EXPECT_EQ(ops_->closeFd(fd), 0);
}

TEST_F(FsHealthIoOpsTest, MakesFilesThatOthersMayRead) {
   Pelm::String const path{(folder_.path() / "file").string()};
   mode_t const before = umask(0);
   int const fd = ops_->openPath(path, O_WRONLY | O_CREAT);
   umask(before);
   EXPECT_EQ(ops_->closeFd(fd), 0);
   struct stat status {};
   ASSERT_EQ(stat(path.data(), &status), 0);
   EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

TEST_F(FsHealthIoOpsTest, CountsBlocksReservedForTheSuperuserNeitherUsedNorFree) {
   Support::TraceRecorder const traces{{"StorageFsHealthSm", 7}};
   statvfsAnswer.emplace();
   statvfsAnswer->f_blocks = 1000;
   statvfsAnswer->f_bfree = 300;
   statvfsAnswer->f_bavail = 250;
   int const percent = ops_->getUtilPercent("/mnt/drive");
   statvfsAnswer.reset();
   EXPECT_EQ(percent, 73) << "700 of 950";
   EXPECT_EQ(traces.texts(7), Texts{"getUtilPercent blks: 1000 free-blks: 300 blks-avail: 250"});
}

TEST_F(FsHealthIoOpsTest, ComputesTheExactUseWhateverTheSize) {
   struct Size {
      fsblkcnt_t blocks, free, available;
      int percent;
   };
   constexpr fsblkcnt_t tebibyte = fsblkcnt_t{1} << 28;  // blocks of 4 KiB
   constexpr fsblkcnt_t most = fsblkcnt_t{1} << 60;
   for (Size const & size :
        {Size{tebibyte, tebibyte / 4, tebibyte / 4, 75}, Size{tebibyte, 1, 1, 99}, Size{tebibyte, 0, 0, 100},
         Size{100 * tebibyte, 14 * tebibyte, 14 * tebibyte, 86}, Size{most, most / 2, most / 2, 50},
         Size{most, most, most, 0}, Size{most, 0, 0, 100},
         Size{UINT64_MAX, UINT64_MAX / 4, UINT64_MAX / 4, 75}, Size{10, 11, 11, -1},
         Size{UINT64_MAX, 0, UINT64_MAX, -1}}) {
      statvfsAnswer.emplace();
      statvfsAnswer->f_blocks = size.blocks;
      statvfsAnswer->f_bfree = size.free;
      statvfsAnswer->f_bavail = size.available;
      int const percent = ops_->getUtilPercent("/mnt/drive");
      statvfsAnswer.reset();
      EXPECT_EQ(percent, size.percent) << size.blocks << " blocks, " << size.free << " free";
   }
}

TEST_F(FsHealthIoOpsTest, AnswersAnInjectedResultAndTouchesNothing) {
   ops_->openRetIs(77);
   ops_->openErrnoIs(EIO);
   Pelm::String const path{(folder_.path() / "file").string()};
   EXPECT_EQ(ops_->openPath(path, O_RDWR | O_CREAT), 77);
   EXPECT_EQ(errno, EIO);
   EXPECT_FALSE(std::filesystem::exists(path.str()));
   EXPECT_EQ(ops_->openCookie(Pelm::String{folder_.string()}, O_RDWR | O_CREAT), 77);
   EXPECT_EQ(errno, EIO);
   EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
   ops_->lseekRetIs(-3);
   ops_->readRetIs(-4);
   ops_->writeRetIs(-5);
   ops_->fsyncRetIs(-6);
   ops_->closeRetIs(-7);
   ops_->utilChkRetIs(90);
   ops_->closeErrnoIs(EBUSY);
   EXPECT_EQ(ops_->lseekFd(-1, 0, SEEK_SET), -3);
   EXPECT_EQ(errno, 0);
   EXPECT_EQ(ops_->readFd(-1, nullptr, 1), -4);
   EXPECT_EQ(ops_->writeFd(-1, nullptr, 1), -5);
   EXPECT_EQ(ops_->fsyncFd(-1), -6);
   EXPECT_EQ(ops_->closeFd(-1), -7);
   EXPECT_EQ(errno, EBUSY);
   EXPECT_EQ(ops_->getUtilPercent("/nowhere"), 90);
}

}  // namespace

}  // namespace StorageDevices
