#include "StorageDevices/NvmeList.h"

#include <gtest/gtest.h>

#include "DataFiles.h"

namespace StorageDevices {
namespace {

using Outcome = NvmeList::Outcome;

constexpr std::string_view nvmePath = "/dev/nvme0n1";

NvmeList parsedListOf(std::string const & devices) {
   return readNvmeList(R"({"Devices":[)" + devices + "]}", nvmePath);
}

// A list of this disk alone, with further members.
NvmeListDevice deviceWith(std::string const & members) {
   auto const list = parsedListOf(R"({"DevicePath":"/dev/nvme0n1",)" + members + "}");
   EXPECT_EQ(list.outcome, Outcome::device) << members;
   return list.device;
}

TEST(NvmeListTest, FindsEachDeviceOfAList) {
   std::string const output = TestData::sample("nvme-480gb/nvme-list.json");
   auto const first = readNvmeList(output, "/dev/nvme0n1");
   ASSERT_EQ(first.outcome, Outcome::device);
   EXPECT_EQ(first.device.model, "Example NVMe 480");
   EXPECT_EQ(first.device.serial, "EXN0000000000001");
   EXPECT_EQ(first.device.firmware, "EXF10001");
   EXPECT_EQ(first.device.sizeGb, 480U);
   auto const second = readNvmeList(output, "/dev/nvme1n1");
   ASSERT_EQ(second.outcome, Outcome::device);
   EXPECT_EQ(second.device.serial, "EXN0000000000002  ");
   EXPECT_EQ(second.device.sizeGb, 500U);
   EXPECT_FALSE(second.device.modelFailed || second.device.serialFailed || second.device.firmwareFailed ||
                second.device.sizeFailed);
}

TEST(NvmeListTest, TreatsAListThatLacksTheDeviceAsMalformed) {
   EXPECT_EQ(parsedListOf("").outcome, Outcome::malformedList);
   EXPECT_EQ(readNvmeList(TestData::sample("nvme-480gb/nvme-list.json"), "/dev/nvme2n1").outcome,
             Outcome::malformedList);
   EXPECT_EQ(readNvmeList(TestData::sample("nvme-nested/nvme-list.json"), nvmePath).outcome,
             Outcome::malformedList);
}

TEST(NvmeListTest, ComparesTheWholePath) {
   std::string const output = R"({"Devices":[{"DevicePath":"/dev/nvme0n1"}]})";
   EXPECT_EQ(readNvmeList(output, "/dev/nvme0n1").outcome, Outcome::device);
   for (auto const * other : {"/dev/nvme0n1p1", "/dev/nvme0n", "/dev/NVME0n1", "", "nvme0n1"})
      EXPECT_EQ(readNvmeList(output, other).outcome, Outcome::malformedList) << other;
   EXPECT_EQ(parsedListOf(R"({"DevicePath":"/dev/nvme0n1\u0000"})").outcome, Outcome::malformedList);
}

TEST(NvmeListTest, SkipsDevicesWithAnotherPathOrNone) {
   auto const list = parsedListOf(
       R"({}, {"DevicePath":1}, {"DevicePath":null}, {"DevicePath":"/dev/nvme1n1","Firmware":"a"},)"
       R"({"DevicePath":"/dev/nvme0n1","Firmware":"b"}, {"DevicePath":"/dev/nvme0n1"}, 1)");
   ASSERT_EQ(list.outcome, Outcome::device);
   EXPECT_EQ(list.device.firmware, "b");
}

TEST(NvmeListTest, EndsTheSearchAtAnElementThatIsNoObject) {
   for (auto const * element : {"1", "null", "[]", "\"/dev/nvme0n1\"", R"([{"DevicePath":"/dev/nvme0n1"}])"})
      EXPECT_EQ(parsedListOf(element + std::string(R"(,{"DevicePath":"/dev/nvme0n1"})")).outcome,
                Outcome::malformedList)
          << element;
}

TEST(NvmeListTest, RequiresAnArrayInAnObject) {
   for (auto const * output : {"[]", "null", "1", "\"Devices\"", R"([{"Devices":[]}])"})
      EXPECT_EQ(readNvmeList(output, nvmePath).outcome, Outcome::malformedRoot) << output;
   for (auto const * output : {"{}", R"({"Devices":null})", R"({"Devices":{}})", R"({"devices":[]})",
                               R"({"Devices":1})", R"({"Devices\u0000":[]})", R"({"a":{"Devices":[]}})"})
      EXPECT_EQ(readNvmeList(output, nvmePath).outcome, Outcome::noDevices) << output;
}

TEST(NvmeListTest, DescribesErrorsInTheParsersWords) {
   auto const list = readNvmeList(R"({"Devices":[] "x":1})", nvmePath);
   EXPECT_EQ(list.outcome, Outcome::jsonError);
   EXPECT_EQ(list.jsonError, "Missing a comma or '}' after an object member.");
   EXPECT_EQ(readNvmeList("", nvmePath).jsonError, "The document is empty.");
   EXPECT_EQ(readNvmeList(std::string(100'000, '['), nvmePath).jsonError,
             "Terminate parsing due to Handler error.");
}

TEST(NvmeListTest, EndsTheOutputAtItsFirstNul) {
   std::string output = R"({"Devices":[{"DevicePath":"/dev/nvme0n1"}]})";
   output.push_back('\0');
   EXPECT_EQ(readNvmeList(output + "trailing", nvmePath).outcome, Outcome::device);
   EXPECT_EQ(readNvmeList('\0' + output, nvmePath).outcome, Outcome::jsonError);
}

TEST(NvmeListTest, GivesMissingValuesTheirDefaultAndAMark) {
   auto const device = deviceWith(R"("x":0)");
   NvmeListDevice expected;
   expected.modelFailed = expected.serialFailed = expected.firmwareFailed = expected.sizeFailed = true;
   EXPECT_EQ(device, expected);
   EXPECT_EQ(device.model, "Unknown");
   EXPECT_EQ(device.serial, "Unknown");
   EXPECT_EQ(device.firmware, "0.0");
   EXPECT_EQ(device.sizeGb, 0U);
}

TEST(NvmeListTest, ReadsEachValueByItself) {
   auto const device = deviceWith(R"("ModelNumber":"m","SerialNumber":7,"Firmware":"f","PhysicalSize":"1")");
   EXPECT_EQ(device.model, "m");
   EXPECT_EQ(device.firmware, "f");
   EXPECT_FALSE(device.modelFailed || device.firmwareFailed);
   EXPECT_TRUE(device.serialFailed && device.sizeFailed);
   auto const other =
       deviceWith(R"("ModelNumber":null,"SerialNumber":"s","Firmware":[],"PhysicalSize":2000000000)");
   EXPECT_EQ(other.serial, "s");
   EXPECT_EQ(other.sizeGb, 2U);
   EXPECT_FALSE(other.serialFailed || other.sizeFailed);
   EXPECT_TRUE(other.modelFailed && other.firmwareFailed);
}

TEST(NvmeListTest, RoundsSizesAndRequiresUnsignedOnes) {
   EXPECT_EQ(deviceWith(R"("PhysicalSize":480103981056)").sizeGb, 480U);
   EXPECT_EQ(deviceWith(R"("PhysicalSize":500107862016)").sizeGb, 500U);
   EXPECT_EQ(deviceWith(R"("PhysicalSize":1500000000)").sizeGb, 2U);
   EXPECT_FALSE(deviceWith(R"("PhysicalSize":0)").sizeFailed);
   for (auto const * size :
        {"-1", "1.5", "480103981056.0", "4e11", "\"480103981056\"", "18446744073709551616"}) {
      auto const device = deviceWith(R"("PhysicalSize":)" + std::string(size));
      EXPECT_TRUE(device.sizeFailed) << size;
      EXPECT_EQ(device.sizeGb, 0U) << size;
   }
}

TEST(NvmeListTest, RefusesASizeThatDoesNotFitTheRecord) {
   EXPECT_EQ(deviceWith(R"("PhysicalSize":4294967295000000000)").sizeGb, 4294967295U);
   auto const device = deviceWith(R"("PhysicalSize":18446744073709551615)");
   EXPECT_TRUE(device.sizeFailed);
   EXPECT_EQ(device.sizeGb, 0U);
}

TEST(NvmeListTest, StripsLeadingWhiteSpaceOfTheSerialAlone) {
   auto const device =
       deviceWith(R"("SerialNumber":"   S3EVNX0K123456 ","ModelNumber":" m ","Firmware":"  f  ")");
   EXPECT_EQ(device.serial, "S3EVNX0K123456 ");
   EXPECT_EQ(device.model, " m ");
   EXPECT_EQ(device.firmware, "  f  ");
   EXPECT_EQ(deviceWith(R"("SerialNumber":" \t\n\r\f\u000b1")").serial, "1");
   EXPECT_EQ(deviceWith(R"("SerialNumber":"  ")").serial, "");
   EXPECT_FALSE(deviceWith(R"("SerialNumber":"  ")").serialFailed);
   EXPECT_EQ(deviceWith(R"("SerialNumber":"\u0000 1")").serial, std::string("\0 1", 3));
}

TEST(NvmeListTest, UsesTheFirstOfSeveralMembers) {
   auto const device =
       deviceWith(R"("Firmware":"a","Firmware":"b","PhysicalSize":"x","PhysicalSize":1000000000)");
   EXPECT_EQ(device.firmware, "a");
   EXPECT_TRUE(device.sizeFailed);
   EXPECT_EQ(readNvmeList(R"({"Devices":[],"Devices":[{"DevicePath":"/dev/nvme0n1"}]})", nvmePath).outcome,
             Outcome::malformedList);
   EXPECT_EQ(parsedListOf(R"({"DevicePath":"x","DevicePath":"/dev/nvme0n1"})").outcome,
             Outcome::malformedList);
}

}  // namespace
}  // namespace StorageDevices
