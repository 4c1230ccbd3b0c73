// What the simulated unit's tools and registers say of a disk's health, read by the library's own parsers.

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "StorageDevices/BlockStat.h"
#include "StorageDevices/EmmcDataMonitorSm.h"
#include "StorageDevices/JsonDocument.h"
#include "StorageDevices/NvmeSmartLog.h"
#include "StorageDevices/SmartAttributes.h"
#include "simulation/SimulatedUnit.h"
#include "tests/support/TempDir.h"

namespace {

using namespace StorageDevices::Simulation;
using StorageDevices::JsonDocument;

struct Outcome {
   std::string output;
   int exitCode;
};

class SimulatedHealthTest : public testing::Test {
 protected:
   Outcome tool(std::string const & commandLine) {
      std::unique_ptr<FILE, int (*)(FILE *)> pipe{
          popen((unit.toolsPath().string() + "/" + commandLine + " 2>/dev/null").c_str(), "r"),
          [](FILE *) { return 0; }};
      std::string output;
      std::array<char, 4096> buffer{};
      for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe.get())) > 0;)
         output.append(buffer.data(), count);
      int const status = pclose(pipe.release());
      return {output, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
   }

   SimulatedUnit unit;
   Pelm::Ptr<StorageDevices::DeviceSmartData> smart = Pelm::make<StorageDevices::DeviceSmartData>("S");
   Pelm::Ptr<StorageDevices::DeviceNvmeData> nvme = Pelm::make<StorageDevices::DeviceNvmeData>("S");
   Pelm::Ptr<StorageDevices::DeviceEmmcData> emmc = Pelm::make<StorageDevices::DeviceEmmcData>("S");
};

TEST_F(SimulatedHealthTest, ReportsVerdictAndTableOfASataDrive) {
   DriveHealth health;
   health.temperature = 51;
   health.percentUsed = 30;
   health.reallocatedSectors = 4;
   unit.healthIs(sataDisk("sda", 1, "KS0001", "Kestrel", 1000), health);
   Outcome const report = tool("smartctl --json=c --offlineauto=on -HA /dev/sda");
   EXPECT_EQ(report.exitCode, 0);
   JsonDocument const document{report.output};
   ASSERT_TRUE(document.isValid()) << report.output;
   ASSERT_TRUE(StorageDevices::parseHealthStatus(document.root(), *smart));
   auto const * const table = StorageDevices::smartAttrsTable(document.root());
   ASSERT_NE(table, nullptr);
   StorageDevices::parseSmartAttrs(*table, *smart, {});
   EXPECT_TRUE(smart->healthStatusOk());
   EXPECT_TRUE(smart->allAttrsPassing());
   EXPECT_EQ(smart->temperatureCelsius()->reportedValue, 51);
   EXPECT_EQ(smart->powerOnHours()->reportedValue, 9120);
   EXPECT_EQ(smart->lifetimeRemaining()->reportedValue, 70);
   EXPECT_EQ(smart->reallocatedSectorCount()->raw, 4);
   EXPECT_EQ(smart->totalLbasWritten()->raw, 35937500000);
   EXPECT_EQ(smart->unknownAttr.size(), 2U);
}

TEST_F(SimulatedHealthTest, ReportsAFailingDriveInReportAndExitCode) {
   DriveHealth health;
   health.passed = false;
   health.reallocatedSectors = 5000;
   health.percentUsed = 250;
   unit.healthIs(sataDisk("sda", 1, "KS0001", "Kestrel", 1000), health);
   Outcome const report = tool("smartctl --json=c --offlineauto=on -HA /dev/sda");
   EXPECT_EQ(report.exitCode, 8);
   JsonDocument const document{report.output};
   ASSERT_TRUE(document.isValid()) << report.output;
   StorageDevices::parseHealthStatus(document.root(), *smart);
   StorageDevices::parseSmartAttrs(*StorageDevices::smartAttrsTable(document.root()), *smart, {});
   EXPECT_FALSE(smart->healthStatusOk());
   EXPECT_FALSE(smart->allAttrsPassing());
   EXPECT_EQ(smart->lifetimeRemaining()->reportedValue, 0);
   EXPECT_EQ(smart->reallocatedSectorCount()->value, 1);
}

TEST_F(SimulatedHealthTest, ReportsTheLogOfAnNvmeDrive) {
   DriveHealth health;
   health.temperature = 44;
   health.criticalWarning = 1;
   health.availableSpare = 9;
   unit.healthIs(nvmeDrive("nvme0n1", "MR7700", "Marlin", 1000), health);
   JsonDocument const log{tool("nvme smart-log --output-format=json /dev/nvme0n1").output};
   ASSERT_TRUE(log.isValid());
   StorageDevices::parseAndInsertNvmeAttrs(log.root(), *nvme);
   EXPECT_EQ(nvme->temperatureCelsius().value, 44);
   EXPECT_EQ(nvme->criticalWarning().value, 1);
   EXPECT_EQ(nvme->availableSpare().value, 9);
   EXPECT_EQ(nvme->dataUnitsWritten().value, 35937500);
   JsonDocument const report{tool("smartctl --json=c --offlineauto=on -HA /dev/nvme0n1").output};
   ASSERT_TRUE(report.isValid());
   EXPECT_TRUE(StorageDevices::parseHealthStatus(report.root(), *smart));
   EXPECT_EQ(StorageDevices::smartAttrsTable(report.root()), nullptr);
}

TEST_F(SimulatedHealthTest, ReportsTheVerdictOfAUsbDiskBehindABridge) {
   unit.healthIs(usbDisk("sdb", "1-1", "0123", "Flash", 1000), {});
   JsonDocument const report{tool("smartctl --json=c --offlineauto=on -HA -d scsi /dev/sdb").output};
   ASSERT_TRUE(report.isValid());
   EXPECT_TRUE(StorageDevices::parseHealthStatus(report.root(), *smart));
   EXPECT_EQ(StorageDevices::smartAttrsTable(report.root()), nullptr);
}

TEST_F(SimulatedHealthTest, RefusesOtherArgumentsAndUnknownDisks) {
   EXPECT_EQ(tool("smartctl -HA /dev/sda").exitCode, 1);
   EXPECT_EQ(tool("smartctl --json=c --offlineauto=on -HA /dev/sda").exitCode, 2);
   EXPECT_EQ(tool("nvme smart-log /dev/nvme0n1").exitCode, 22);
   EXPECT_EQ(tool("nvme smart-log --output-format=json /dev/nvme0n1").exitCode, 2);
}

TEST_F(SimulatedHealthTest, SetsTheRegistersOfAnEmmcDevice) {
   auto const chip = emmcDevice("mmcblk0", "9b014e4f53505245592100a1b2c35a01", 1000);
   unit.add(chip);
   std::string const folder = unit.sysFolder("mmcblk0") / "device";
   ASSERT_TRUE(StorageDevices::EmmcDataAccess::getEmmcAttrs(folder, *emmc));
   EXPECT_EQ(emmc->lifetimeEstTypA().raw(), 1);
   EXPECT_EQ(emmc->preEolInfo().raw(), 1);
   DriveHealth health;
   health.percentUsed = 95;
   health.preEndOfLife = 3;
   unit.healthIs(chip, health);
   ASSERT_TRUE(StorageDevices::EmmcDataAccess::getEmmcAttrs(folder, *emmc));
   EXPECT_EQ(emmc->lifetimeEstTypB().raw(), 10);
   EXPECT_EQ(emmc->preEolInfo().raw(), 3);
   health.percentUsed = 1000;
   unit.healthIs(chip, health);
   ASSERT_TRUE(StorageDevices::EmmcDataAccess::getEmmcAttrs(folder, *emmc));
   EXPECT_EQ(emmc->lifetimeEstTypA().raw(), 11);
}

TEST_F(SimulatedHealthTest, CountsTheLifeOfASataDriveUpOrDown) {
   auto const disk = sataDisk("sda", 1, "KS0001", "Kestrel", 1000);
   unit.add(disk);
   DriveHealth health;
   health.percentUsed = 30;
   auto const rawOf = [&] {
      unit.healthIs(disk, health);
      std::string const report = tool("smartctl --json=c --offlineauto=on -HA /dev/sda").output;
      auto const row = report.find("Percent_Lifetime_Remain");
      auto const raw = report.find("\"raw\":{\"value\":", row) + 15;
      return report.substr(raw, report.find(',', raw) - raw);
   };
   EXPECT_EQ(rawOf(), "30");
   health.rawLifeIsLeft = true;
   EXPECT_EQ(rawOf(), "70");
}

TEST_F(SimulatedHealthTest, CountsTrafficInTheKernelsStatistics) {
   unit.add(sataDisk("sda", 1, "KS0001", "Kestrel", 1000));
   unit.trafficIs("sda", 3584, 4608);
   auto const stat = StorageDevices::readBlockStat(Support::fileContent(unit.sysFolder("sda") / "stat"));
   ASSERT_TRUE(stat);
   EXPECT_EQ(stat->sectorsRead, 7U);
   EXPECT_EQ(stat->sectorsWritten, 9U);
}

}  // namespace
