#include "StorageDevices/SsdDiskInfoCollectorSm.h"

#include <gtest/gtest.h>

#include "tests/support/CollectorTest.h"
#include "tests/support/RealTime.h"

namespace StorageDevices {

namespace {

using Support::DiskFields;

constexpr char hdparmHandler[] = "void StorageDevices::SsdDiskInfoCollectorSm::handleHdparm()";
constexpr char hdparmParser[] = "void StorageDevices::SsdDiskInfoCollectorSm::parseOutput()";

std::string identification(std::string const & model = "Kestrel S2", std::string const & serial = "KS0002",
                           std::string const & firmware = "KF9.9") {
   return "\n/dev/sda:\n\nATA device, with non-removable media\n\tModel Number:       " + model +
          "\n\tSerial Number:      " + serial + "\n\tFirmware Revision:  " + firmware + "\nStandards:\n";
}

std::string size(std::string const & gigabytes = "256") {
   return "\tdevice size with M = 1000*1000:      256060 MBytes (" + gigabytes + " GB)\n";
}

class SsdDiskInfoCollectorSmTest : public Support::CollectorTest {
 protected:
   SsdDiskInfoCollectorSmTest() : CollectorTest{&SsdDiskInfoCollectorSmIs, "hdparm"} {}

   std::string errorsText() const {
      std::string text;
      for (std::string const & error : traces_.errors())
         text += error + "\n";
      return text;
   }
};

TEST_F(SsdDiskInfoCollectorSmTest, ReadsModelSerialFirmwareAndSizeFromTheReport) {
   toolPrints(identification() + size());
   DiskFields expected = disk_;
   expected.name = "KS0002";
   expected.mibType = 2;
   expected.model = "Kestrel S2";
   expected.firmwareRevision = "KF9.9";
   expected.sizeGb = 256;
   EXPECT_EQ(collected(), expected);
   EXPECT_TRUE(traces_.lines().empty()) << errorsText();
}

TEST_F(SsdDiskInfoCollectorSmTest, RunsHdparmWithDashIAndTheDevice) {
   disk_.blockDevice = "/dev/sd with blank";
   toolPrints("");
   collected();
   EXPECT_EQ(arguments(), "hdparm\n-I\n/dev/sd with blank\n");
   ASSERT_NE(tracker_->finishedRun(), nullptr);
   EXPECT_EQ(tracker_->finishedRun()->argv,
             (std::vector<Pelm::String>{"hdparm", "-I", "/dev/sd with blank"}));
}

TEST_F(SsdDiskInfoCollectorSmTest, PublishesNothingBeforeTheToolHasEnded) {
   toolPrints(identification() + size());
   start();
   EXPECT_EQ(collector_->finalDisk(), nullptr);
   EXPECT_EQ(collector_->mibType(), EntityMib::StorageType::sataSsd);
   EXPECT_TRUE(collector_->device()->isEq(*disk_.make()));
   EXPECT_EQ(result().name, "KS0002");
}

TEST_F(SsdDiskInfoCollectorSmTest, PublishesValuesThatWereAlreadyKnown) {
   disk_.mibType = 2;
   toolPrints(identification(disk_.model, disk_.name, disk_.firmwareRevision) + size("240"));
   EXPECT_EQ(collected(), disk_);
}

TEST_F(SsdDiskInfoCollectorSmTest, KeepsTheDisksOwnValuesForMissingFields) {
   disk_ = {.name = "udev",
            .blockDevice = "/dev/hdc",
            .mountPoint = "/mnt/x",
            .removable = true,
            .busType = ConnectedDisk::BusType::other,
            .devAddress = "17"};
   toolPrints(identification() + size());
   DiskFields const result = collected();
   EXPECT_EQ(result.blockDevice, "/dev/hdc");
   EXPECT_EQ(result.mountPoint, "/mnt/x");
   EXPECT_TRUE(result.removable);
   EXPECT_EQ(result.busType, ConnectedDisk::BusType::other);
   EXPECT_EQ(result.devAddress, "17");
}

TEST_F(SsdDiskInfoCollectorSmTest, StripsTrailingBlanksAndLeavesABlankFirmwareEmpty) {
   toolPrints(identification("Foo  ", "KS0002    ", "        ") + size());
   DiskFields const result = collected();
   EXPECT_EQ(result.model, "Foo");
   EXPECT_EQ(result.name, "KS0002");
   EXPECT_EQ(result.firmwareRevision, "");
}

TEST_F(SsdDiskInfoCollectorSmTest, TracesASizeBeyondThirtyTwoBitsAndKeepsTheDisksOwn) {
   toolPrints(identification() + size("4294967296"));
   DiskFields const result = collected();
   EXPECT_EQ(result.sizeGb, 240U);
   EXPECT_EQ(result.name, "KS0002");
   EXPECT_EQ(errorsText(), std::string{hdparmParser} + " could not parse size from hdparm\n");
}

TEST_F(SsdDiskInfoCollectorSmTest, AcceptsTheLargestSize) {
   toolPrints(identification() + size("4294967295"));
   EXPECT_EQ(collected().sizeGb, 4294967295U);
   EXPECT_EQ(errorsText(), "");
}

struct UnusableReport {
   char const * name;
   std::string script;
   std::string trace;

   // As a failure names it.
   friend void PrintTo(UnusableReport const & report, std::ostream * out) { *out << report.name; }
};

std::string printingReport(std::string const & report) {
   return "cat <<'END'\n" + report + "END\n";
}

class UnusableHdparmTest : public SsdDiskInfoCollectorSmTest,
                           public testing::WithParamInterface<UnusableReport> {};

TEST_P(UnusableHdparmTest, CompletesTheDiskUnchangedButForTheTypeAndTracesTheReason) {
   toolDoes(GetParam().script);
   DiskFields const result = collected();
   EXPECT_EQ(result, unchanged());
   EXPECT_EQ(result.mibType, 2);
   EXPECT_EQ(errorsText(), GetParam().trace + "\n");
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
}

std::string const hdparmFailed = std::string{hdparmHandler} + " hdparm failed";
std::string const noMatch = std::string{hdparmParser} + " hdparm output did not match expected";

INSTANTIATE_TEST_SUITE_P(
    Reports, UnusableHdparmTest,
    testing::Values(
        UnusableReport{"exitCode", printingReport(identification() + size()) + "exit 1", hdparmFailed},
        UnusableReport{"signal", printingReport(identification() + size()) + "kill -KILL $$", hdparmFailed},
        UnusableReport{"tenMegabytes",
                       printingReport(identification() + size()) + "head -c 10485760 /dev/zero",
                       hdparmFailed},
        UnusableReport{"nothing", "", noMatch},
        UnusableReport{"errorsOnly", "echo 'HDIO_DRIVE_CMD(identify) failed' >&2", noMatch},
        UnusableReport{"garbage", "head -c 300000 /dev/urandom", noMatch},
        UnusableReport{"identificationWithoutSize", printingReport(identification()), noMatch},
        UnusableReport{"sizeWithoutIdentification", printingReport(size()), noMatch},
        UnusableReport{
            "aLineBetween",
            printingReport(
                "\tModel Number:  Foo\n\tMedia Serial Num:\n\tSerial Number:  S\n\tFirmware Revision:  "
                "F\n" +
                size()),
            noMatch},
        UnusableReport{"solidusInTheModel", printingReport(identification("Foo/Bar") + size()), noMatch},
        UnusableReport{"allBehindANul", "printf '\\0'\n" + printingReport(identification() + size()),
                       noMatch}),
    [](auto const & unusable) { return std::string{unusable.param.name}; });

TEST_F(SsdDiskInfoCollectorSmTest, TracesErrorsBeforeItPublishesTheDisk) {
   for (std::string const & script :
        {std::string{"exit 1"}, std::string{"true"}, printingReport(identification() + size("4294967296"))})
      EXPECT_FALSE(publishesBeforeItTraces(script)) << script;
}

TEST_F(SsdDiskInfoCollectorSmTest, CompletesTheDiskUnchangedWithoutTheTool) {
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   DiskFields const result = collected();
   EXPECT_EQ(result, unchanged());
   EXPECT_EQ(errorsText(), hdparmFailed + "\n");
   EXPECT_EQ(tracker_->finishedRun()->exitCode, 127);
}

TEST_F(SsdDiskInfoCollectorSmTest, CompletesTheDiskUnchangedWhenDescriptorsAreScarce) {
   toolPrints(identification() + size());
   {
      Support::DescriptorLimit const limit{1};
      start();
   }
   EXPECT_EQ(collector_->finalDisk(), nullptr);
   EXPECT_EQ(result(), unchanged());
   EXPECT_EQ(errorsText(), hdparmFailed + "\n");
}

TEST_F(SsdDiskInfoCollectorSmTest, EndsAHangingToolAtTheTimeLimitOfTheHost) {
   toolDoes("exec sleep 1000");
   tracker_->timeLimitIs(0.05);
   Vorn::Host::timeSourceIs(nullptr);
   start();
   EXPECT_TRUE(Support::turnInRealTime([&] { return collector_->finalDisk() != nullptr; }));
   EXPECT_EQ(Support::fieldsOf(*collector_->finalDisk()), unchanged());
   EXPECT_FALSE(Support::hasChildren());
}

TEST_F(SsdDiskInfoCollectorSmTest, LeavesNoChildAndNoDescriptorWhenDroppedDuringARun) {
   Vorn::Host::turn(0);
   auto const before = Support::openDescriptors();
   toolDoes("sleep 1000 & exec sleep 1000");
   start();
   ASSERT_TRUE(Support::turnInRealTime([&] { return arguments().ends_with("/dev/sda\n"); }));
   EXPECT_TRUE(Support::hasChildren());
   drop();
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
   EXPECT_EQ(Support::openDescriptors(), before);
}

}  // namespace

}  // namespace StorageDevices
