#include "agent/documents/MountMetrics.h"

#include <cerrno>
#include <filesystem>
#include <string>

#include "tests/agent/documents/MetricsTest.h"
#include "tests/support/MountedDisk.h"

namespace Agent {
namespace {

class MountMetricsTest : public Support::MetricsOf<Support::MountedDisk> {
 protected:
   std::string ofMount(std::string const & name, std::string const & more = "") {
      return value("storagedevices_mount_" + name + "{mount_point=\"" + folder.string() + "\"" +
                   (more.empty() ? "" : ",") + more + "}");
   }
   std::string wrote() { return ofMount("test_ok", "phase=\"write\""); }
   std::string readBack() { return ofMount("test_ok", "phase=\"read\""); }
   void aTestEnds() {
      oneTestGoesBy();
      verdicts.evaluate();
   }
};

TEST_F(MountMetricsTest, HasNoResultBeforeTheFirstTestHasEnded) {
   EXPECT_EQ(seriesWith(folder.string() + "\",phase"), 0U);
   ASSERT_TRUE(begins());
   EXPECT_EQ(wrote(), "(none)");
   EXPECT_EQ(ofMount("test_errors_total"), "0");
   EXPECT_EQ(ofMount("full"), "0");
}

TEST_F(MountMetricsTest, KeepsTheLatestResultWhileTheNextTestRuns) {
   ASSERT_TRUE(begins());
   aTestEnds();
   EXPECT_EQ(wrote() + readBack(), "11");
   ASSERT_TRUE(eventually([this] { return test().state() == StorageDevices::FsHealthSmState::writeTest; }));
   ASSERT_FALSE(test().writeTestOk());
   EXPECT_EQ(wrote() + readBack(), "11");
}

TEST_F(MountMetricsTest, CountsFailedTestsAndNamesThePhase) {
   ASSERT_TRUE(begins());
   test().ioOps()->readRetIs(-1);
   test().ioOps()->readErrnoIs(EIO);
   aTestEnds();
   EXPECT_EQ(wrote() + readBack(), "10");
   EXPECT_EQ(ofMount("test_errors_total"), "1");
   test().ioOps()->writeRetIs(-1);
   test().ioOps()->writeErrnoIs(EIO);
   aTestEnds();
   EXPECT_EQ(wrote() + readBack(), "0(none)") << "what was not written is not read";
   EXPECT_EQ(ofMount("test_errors_total"), "2");
}

TEST_F(MountMetricsTest, CountsAMountPointThatIsNoDirectoryOnce) {
   ASSERT_TRUE(begins());
   aTestEnds();
   std::filesystem::remove_all(folder.path());
   ASSERT_TRUE(becomes("write-test-failed: write test failed: the mount point is no directory"));
   Vorn::Host::runFor(10);
   EXPECT_EQ(wrote() + readBack(), "0(none)");
   EXPECT_EQ(ofMount("test_errors_total"), "1");
}

TEST_F(MountMetricsTest, HasNoResultWhileTheMountIsWrongAndCountsOn) {
   ASSERT_TRUE(begins());
   test().ioOps()->readRetIs(-1);
   test().ioOps()->readErrnoIs(EIO);
   aTestEnds();
   helper->answer.readOnly = true;
   ASSERT_TRUE(becomes("mounted-read-only: " + folder.string() + " is mounted read-only", 100000));
   EXPECT_EQ(wrote() + readBack(), "(none)(none)");
   EXPECT_EQ(ofMount("test_errors_total"), "1");
}

TEST_F(MountMetricsTest, IsFullFromTheWarningUntilTheUseHasFallen) {
   ASSERT_TRUE(begins());
   test().ioOps()->utilChkRetIs(90);
   ASSERT_TRUE(becomes("file-system-full: its file system is more than 85 % full"));
   EXPECT_EQ(ofMount("full"), "1");
   test().ioOps()->utilChkRetIs(40);
   ASSERT_TRUE(becomes(""));
   EXPECT_EQ(ofMount("full"), "0");
}

TEST_F(MountMetricsTest, EndsWithTheDisk) {
   ASSERT_TRUE(begins());
   aTestEnds();
   ASSERT_GT(seriesWith("mount_test"), 0U);
   entities.devices->diskDel(serial);
   EXPECT_EQ(seriesWith("mount_test") + seriesWith("mount_full"), 0U) << text();
}

TEST_F(MountMetricsTest, NamesExpectedMountPointsWithoutADisk) {
   EXPECT_EQ(value("storagedevices_mount_missing{mount_point=\"/mnt/drive\"}"), "1");
   Support::DiskFields{.name = "KS0002", .mountPoint = "/mnt/drive"}.writeTo(*entities.devices);
   EXPECT_EQ(seriesWith("mount_missing"), 0U);
   entities.devices->diskDelAll();
   manager = nullptr;
   EXPECT_EQ(seriesWith("mount_missing"), 0U) << "not before all disks are identified";
}

}  // namespace
}  // namespace Agent
