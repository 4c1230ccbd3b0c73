// What versions of nvme print as the list of drives, and what the library reads of it behind the filter.
#include <gtest/gtest.h>

#include <string>

#include "StorageDevices/NvmeList.h"
#include "nvme-compat/NvmeLayout.h"
#include "tests/support/TempDir.h"

namespace NvmeCompat {
namespace {

using Kind = Layout::Kind;
using Outcome = StorageDevices::NvmeList::Outcome;

std::string listSample(std::string const & version) {
   return Support::fileContent(std::string{TEST_DATA_DIR "/nvme-compat/"} + version + "/list.json");
}

Layout list(std::string const & output) {
   return knownLayout(NvmeCommand::list, output);
}

// The size that the list gives, as it is written.
std::string sizeIn(std::string const & members) {
   std::string const text = list(R"({"Devices":[{"DevicePath":"/dev/nvme0n1",)" + members + "}]}").text;
   std::string const key = "\"PhysicalSize\":";
   std::size_t const begin = text.find(key);
   if (begin == std::string::npos)
      return "unchanged";
   return text.substr(begin + key.size(), text.find_first_of(",}", begin) - begin - key.size());
}

TEST(NvmeListLayoutTest, IdentifiesTheDriveInListsOfAllVersions) {
   for (std::string const version : {"2.0", "2.2", "2.2-arm", "2.11", "2.12-multipath"}) {
      Layout const layout = list(listSample(version));
      EXPECT_EQ(layout.kind, Kind::rewritten) << version;
      auto const found = StorageDevices::readNvmeList(layout.text, "/dev/nvme0n1");
      ASSERT_EQ(found.outcome, Outcome::device) << version << "\n" << layout.text;
      EXPECT_EQ(found.device.model, "Example NVMe 960") << version;
      EXPECT_EQ(found.device.serial, "EXN0000000000003") << version;
      EXPECT_EQ(found.device.firmware, "EXF10003") << version;
      EXPECT_FALSE(found.device.sizeFailed) << version;
      EXPECT_EQ(found.device.sizeGb, 960U) << version;
   }
}

TEST(NvmeListLayoutTest, KeepsTheIdentityOfTheOtherDriveOfANestedList) {
   for (std::string const version : {"2.11", "2.12-multipath"}) {
      auto const found = StorageDevices::readNvmeList(list(listSample(version)).text, "/dev/nvme1n1");
      ASSERT_EQ(found.outcome, Outcome::device) << version;
      EXPECT_EQ(found.device.serial, "EXN0000000000004") << version;
   }
}

TEST(NvmeListLayoutTest, KeepsGoodMembersByteForByte) {
   for (std::string const version : {"1.16", "2.3"})
      EXPECT_EQ(list(listSample(version)).kind, Kind::unchanged) << version;
   EXPECT_EQ(list("{\n  \"Devices\":[\n  ]\n}\n").kind, Kind::unchanged);
}

TEST(NvmeListLayoutTest, ReadsSizesInQuotesOrWithFractionAsNumbers) {
   EXPECT_EQ(sizeIn(R"("PhysicalSize":"960197124096")"), "960197124096");
   EXPECT_EQ(sizeIn(R"("PhysicalSize":960197124096.0)"), "960197124096");
   EXPECT_EQ(sizeIn(R"("PhysicalSize":9.60197124096e11)"), "960197124096");
   EXPECT_EQ(sizeIn(R"("PhysicalSize":"about 960 GB")"), "unchanged");
   EXPECT_EQ(sizeIn(R"("PhysicalSize":null)"), "unchanged");
}

TEST(NvmeListLayoutTest, ComputesASizeLostIn32BitsFromTheSectors) {
   // 1 TB and 3.84 TB as they are, 3.2 TB, 3.84 TB, 8 TB and 30.72 TB with higher bits cut off.
   EXPECT_EQ(sizeIn(R"("MaximumLBA":1953525168,"PhysicalSize":-2147483648,"SectorSize":512)"),
             "1000204886016");
   EXPECT_EQ(sizeIn(R"("MaximumLBA":937684566,"PhysicalSize":-2147483648,"SectorSize":4096)"),
             "3840755982336");
   EXPECT_EQ(sizeIn(R"("MaximumLBA":1956266672,"PhysicalSize":-2147483648,"SectorSize":512)"),
             "3200631791616");
   EXPECT_EQ(sizeIn(R"("MaximumLBA":-1088458064,"PhysicalSize":-2147483648,"SectorSize":512)"),
             "3840755982336");
   EXPECT_EQ(sizeIn(R"("MaximumLBA":-1551816016,"PhysicalSize":2147483647,"SectorSize":512)"),
             "8001563222016");
   EXPECT_EQ(sizeIn(R"("MaximumLBA":-117878096,"PhysicalSize":-1,"SectorSize":512)"), "30725971992576");
}

TEST(NvmeListLayoutTest, TreatsASizeThatIsLostAsNone) {
   for (std::string const members :
        {R"("PhysicalSize":-2147483648)", R"("PhysicalSize":-1,"MaximumLBA":1953525168)",
         R"("PhysicalSize":-1,"SectorSize":512)",
         R"("PhysicalSize":-1,"MaximumLBA":1953525168,"SectorSize":520)",
         R"("PhysicalSize":-1,"MaximumLBA":1953525169,"SectorSize":512)",
         R"("PhysicalSize":-1,"MaximumLBA":99999999999999999999,"SectorSize":512)",
         R"("PhysicalSize":-9223372036854775808,"MaximumLBA":null,"SectorSize":512)"})
      EXPECT_EQ(sizeIn(members), "null") << members;
}

TEST(NvmeListLayoutTest, GivesNamespacesUnderPathsTheIdentityOfTheFirst) {
   Layout const layout = list(
       R"({"Devices":[{"Subsystems":[{"Namespaces":[{"NameSpace":"nvme3n2","NSID":2,"PhysicalSize":1000000000,)"
       R"("Paths":[{"Path":"nvme3c0n2","SerialNumber":"S1","ModelNumber":"M \"1\"","Firmware":"F1"},)"
       R"({"Path":"nvme3c1n2","SerialNumber":"S2"}]}]}]}]})");
   EXPECT_EQ(
       layout.text,
       "{\"Devices\":[\n{\"DevicePath\":\"/dev/nvme3n2\",\"Firmware\":\"F1\",\"ModelNumber\":\"M \\\"1\\\"\","
       "\"SerialNumber\":\"S1\",\"NameSpace\":2,\"PhysicalSize\":1000000000}]}");
}

TEST(NvmeListLayoutTest, TreatsANestedListWithoutNamespacesAsEmpty) {
   EXPECT_EQ(list(R"({"Devices":[{"HostNQN":"x","Subsystems":[]}],"y":1})").text, R"({"Devices":[],"y":1})");
   for (std::string const subsystems :
        {"null", "{}", "[null,1]", R"([{"Controllers":[{"Namespaces":[{"NameSpace":7},{}]}]}])",
         R"([{"Namespaces":[{"NameSpace":"../sda"},{"NameSpace":""},[]]}])"})
      EXPECT_EQ(list(R"({"Devices":[{"Subsystems":)" + subsystems + "}]}").text, R"({"Devices":[]})")
          << subsystems;
}

TEST(NvmeListLayoutTest, ListsDevicesOfBothKindsSideBySide) {
   std::string const text =
       list(R"({"Devices":[{"DevicePath":"/dev/nvme0n1","PhysicalSize":"5"},7,)"
            R"({"Subsystems":[{"Controllers":[{"Namespaces":[{"NameSpace":"nvme1n1"}]}]}]}]})")
           .text;
   EXPECT_EQ(text,
             "{\"Devices\":[\n{\"DevicePath\":\"/dev/nvme0n1\",\"PhysicalSize\":5},\n7,\n"
             "{\"DevicePath\":\"/dev/nvme1n1\"}]}");
}

TEST(NvmeListLayoutTest, DoesNotRepeatAnIdentityLongerThanAnyDrives) {
   std::string spaces = R"({"NameSpace":"nvme0n1"})";
   for (int i = 2; i < 2000; ++i)
      spaces += R"(,{"NameSpace":"nvme0n)" + std::to_string(i) + "\"}";
   auto const listOf = [&spaces](std::string const & model) {
      return list(R"({"Devices":[{"Subsystems":[{"Controllers":[{"ModelNumber":")" + model +
                  R"(","SerialNumber":"SN-1","Namespaces":[)" + spaces + "]}]}]}]}")
          .text;
   };
   std::string const longest(254, 'M');
   EXPECT_NE(listOf(longest).find(R"("/dev/nvme0n1999","ModelNumber":")" + longest), std::string::npos);
   std::string const text = listOf(std::string(1U << 20U, 'M'));
   EXPECT_EQ(text.find("ModelNumber"), std::string::npos);
   EXPECT_NE(text.find(R"("/dev/nvme0n1999","SerialNumber":"SN-1")"), std::string::npos);
   EXPECT_LT(text.size(), 200000U);
}

TEST(NvmeListLayoutTest, KeepsOtherShapes) {
   for (std::string const output : {R"({"Devices":null})", R"({"Devices":{"Subsystems":[]}})",
                                    R"({"Devices":["Subsystems",[],null,{}]})", R"([{"Devices":[]}])", "{}"})
      EXPECT_EQ(list(output).kind, Kind::unchanged) << output;
}

}  // namespace
}  // namespace NvmeCompat
