#include "StorageDevices/NvmeDiskInfoCollectorSm.h"

#include <gtest/gtest.h>

#include "tests/support/CollectorTest.h"
#include "tests/support/RealTime.h"

namespace StorageDevices {

namespace {

using Support::DiskFields;

constexpr char listHandler[] = "void StorageDevices::NvmeDiskInfoCollectorSm::handleNvmeCli()";
constexpr char listParser[] = "void StorageDevices::NvmeDiskInfoCollectorSm::parseOutput()";

std::string const identity =
    R"("ModelNumber":"Marlin 480","SerialNumber":"   MR7700","Firmware":"M4.1","PhysicalSize":480103981056)";

std::string listOf(std::string const & devices) {
   return R"({"Devices":[)" + devices + "]}";
}

std::string device(std::string const & members, std::string const & path = "/dev/nvme0n1") {
   return R"({"DevicePath":")" + path + "\"" + (members.empty() ? "" : "," + members) + "}";
}

class NvmeDiskInfoCollectorSmTest : public Support::CollectorTest {
 protected:
   NvmeDiskInfoCollectorSmTest() : CollectorTest{&NvmeDiskInfoCollectorSmIs, "nvme"} {
      disk_ = {.name = "udev serial",
               .blockDevice = "/dev/nvme0n1",
               .mountPoint = "/mnt/drive",
               .model = "udev model",
               .firmwareRevision = "udev firmware",
               .removable = false,
               .busType = ConnectedDisk::BusType::nvme,
               .devAddress = "nvme0n1",
               .sizeGb = 11};
   }

   DiskFields identified() const {
      DiskFields disk = disk_;
      disk.name = "MR7700";
      disk.mibType = 4;
      disk.model = "Marlin 480";
      disk.firmwareRevision = "M4.1";
      disk.sizeGb = 480;
      return disk;
   }
};

TEST_F(NvmeDiskInfoCollectorSmTest, ReadsModelSerialFirmwareAndSizeFromTheList) {
   toolPrints(listOf(device(identity)));
   EXPECT_EQ(collected(), identified());
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(NvmeDiskInfoCollectorSmTest, RequestsTheListAsJson) {
   toolPrints(listOf(device(identity)));
   collected();
   EXPECT_EQ(arguments(), "nvme\nlist\n-o\njson\n/dev/nvme0n1\n");
}

TEST_F(NvmeDiskInfoCollectorSmTest, ReadsTheSecondOfTwoDevicesWithoutATraceOfTheFirst) {
   toolPrints(listOf(device(R"("ModelNumber":1)", "/dev/nvme1n1") + "," + device(identity)));
   EXPECT_EQ(collected(), identified());
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(NvmeDiskInfoCollectorSmTest, TracesTheOutputInDetail) {
   std::string const output = listOf(device(identity));
   toolPrints(output);
   collected();
   EXPECT_EQ(traces_.texts(7), (std::vector<std::string>{std::string{listParser} + "Parsing for /dev/nvme0n1",
                                                         listParser + output}));
}

TEST_F(NvmeDiskInfoCollectorSmTest, TracesTheOutputBeforeItsErrors) {
   std::string const outputs[] = {"no JSON", "[]", "{}", listOf(""), listOf(device(""))};
   for (std::string const & output : outputs) {
      traces_.clear();
      toolPrints(output);
      collected();
      std::vector<int> levels;
      for (auto const & line : traces_.lines())
         levels.push_back(line.level);
      std::vector<int> expected{7, 7, 0};
      expected.resize(output == outputs[4] ? 6 : 3);
      EXPECT_EQ(levels, expected) << output;
   }
}

TEST_F(NvmeDiskInfoCollectorSmTest, PublishesNothingBeforeTheToolHasEnded) {
   toolPrints(listOf(device(identity)));
   start();
   EXPECT_EQ(collector_->finalDisk(), nullptr);
   EXPECT_EQ(collector_->mibType(), EntityMib::StorageType::nvme);
   EXPECT_EQ(result(), identified());
}

TEST_F(NvmeDiskInfoCollectorSmTest, UsesDefaultsForAnEntryWithoutValuesAndTracesEach) {
   toolPrints(listOf(device("")));
   DiskFields expected = identified();
   expected.name = "Unknown";
   expected.model = "Unknown";
   expected.firmwareRevision = "0.0";
   expected.sizeGb = 0;
   EXPECT_EQ(collected(), expected);
   EXPECT_EQ(traces_.errors(),
             (std::vector<std::string>{std::string{listParser} + " error parsing NMVe model number",
                                       std::string{listParser} + " error parsing NMVe serial number",
                                       std::string{listParser} + " error parsing NMVe firmware revision",
                                       std::string{listParser} + " error parsing NMVe size"}));
}

TEST_F(NvmeDiskInfoCollectorSmTest, TreatsASizeThatIsNoUnsignedNumberAsMissing) {
   for (char const * const size : {"-1", "480103981056.0", "\"480103981056\"", "null"}) {
      traces_.clear();
      toolPrints(listOf(device(R"("ModelNumber":"M","SerialNumber":"S","Firmware":"F","PhysicalSize":)" +
                               std::string{size})));
      EXPECT_EQ(collected().sizeGb, 0U) << size;
      EXPECT_EQ(traces_.errors(),
                std::vector<std::string>{std::string{listParser} + " error parsing NMVe size"});
   }
}

struct Unusable {
   char const * name;
   std::string script;
   std::string trace;

   // As a failure names it.
   friend void PrintTo(Unusable const & list, std::ostream * out) { *out << list.name; }
};

std::string printing(std::string const & output) {
   return "cat <<'END'\n" + output + "\nEND\n";
}

class UnusableNvmeListTest : public NvmeDiskInfoCollectorSmTest,
                             public testing::WithParamInterface<Unusable> {};

TEST_P(UnusableNvmeListTest, CompletesTheDiskUnchangedButForTheTypeAndTracesTheReason) {
   toolDoes(GetParam().script);
   DiskFields const result = collected();
   EXPECT_EQ(result, unchanged());
   EXPECT_EQ(result.mibType, 4);
   EXPECT_EQ(traces_.errors(), std::vector<std::string>{GetParam().trace});
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
}

std::string const failed = std::string{listHandler} + " nvme failed";
std::string const malformed = std::string{listParser} + " malformed output from nvme";
std::string const noDevices = std::string{listParser} + " \"Devices\" not found in output";
std::string const noEntry = std::string{listParser} + " \"Devices\" list is malformed";
std::string const jsonError = std::string{listParser} + " JSON parsing error: ";

INSTANTIATE_TEST_SUITE_P(
    Lists, UnusableNvmeListTest,
    testing::Values(Unusable{"exitCode", printing(listOf(device(identity))) + "exit 1", failed},
                    Unusable{"signal", printing(listOf(device(identity))) + "kill -KILL $$", failed},
                    Unusable{"tenMegabytes", "head -c 10485760 /dev/zero", failed},
                    Unusable{"nothing", "", jsonError + "The document is empty."},
                    Unusable{"garbage", "echo 'Segmentation fault'", jsonError + "Invalid value."},
                    Unusable{"missingBrace", printing(R"({"Devices":[])"),
                             jsonError + "Missing a comma or '}' after an object member."},
                    Unusable{"nested", "head -c 600 /dev/zero | tr '\\0' '['",
                             jsonError + "Terminate parsing due to Handler error."},
                    Unusable{"rootIsAnArray", printing("[]"), malformed},
                    Unusable{"rootIsAText", printing("\"Devices\""), malformed},
                    Unusable{"noDevices", printing(R"({"devices":[]})"), noDevices},
                    Unusable{"devicesAreNoArray", printing(R"({"Devices":{}})"), noDevices},
                    Unusable{"emptyList", printing(listOf("")), noEntry},
                    Unusable{"otherDevice", printing(listOf(device(identity, "/dev/nvme0n1p1"))), noEntry},
                    Unusable{"otherCase", printing(listOf(device(identity, "/dev/NVMe0n1"))), noEntry},
                    Unusable{"pathIsNoText", printing(listOf(R"({"DevicePath":7})")), noEntry},
                    Unusable{"elementIsNoObject", printing(listOf("7," + device(identity))), noEntry}),
    [](auto const & unusable) { return std::string{unusable.param.name}; });

TEST_F(NvmeDiskInfoCollectorSmTest, TracesEverythingBeforeItPublishesTheDisk) {
   for (std::string const & script :
        {std::string{"exit 1"}, std::string{"true"}, printing(listOf(device("")))})
      EXPECT_FALSE(publishesBeforeItTraces(script)) << script;
}

TEST_F(NvmeDiskInfoCollectorSmTest, CompletesTheDiskUnchangedWithoutTheTool) {
   Support::EnvironmentSetting const path{"PATH", folder_.string()};
   auto const result = collected();
   EXPECT_EQ(result, unchanged());
   EXPECT_EQ(traces_.errors(), std::vector<std::string>{failed});
}

TEST_F(NvmeDiskInfoCollectorSmTest, LeavesNoChildAndNoDescriptorWhenDroppedDuringARun) {
   Vorn::Host::turn(0);
   auto const before = Support::openDescriptors();
   toolDoes("exec sleep 1000");
   start();
   ASSERT_TRUE(Support::turnInRealTime([&] { return arguments().ends_with("/dev/nvme0n1\n"); }));
   drop();
   EXPECT_TRUE(Support::turnInRealTime([&] { return tracker_->orphans() == 0; }));
   EXPECT_FALSE(Support::hasChildren());
   EXPECT_EQ(Support::openDescriptors(), before);
}

}  // namespace

}  // namespace StorageDevices
