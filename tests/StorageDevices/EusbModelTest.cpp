#include "StorageDevices/EusbModel.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "DataFiles.h"

namespace StorageDevices {
namespace {

std::string modelOf(std::string const & linkName, std::string const & serial = "0123ABCD") {
   return eusbModel("/dev/disk/by-id/" + linkName, serial, "before");
}

TEST(EusbModelTest, FindsTheModelBetweenBusAndSerial) {
   EXPECT_EQ(modelOf("usb-Vendor_Flash_Drive_0123ABCD-0:0"), "Vendor_Flash_Drive");
   EXPECT_EQ(eusbModel(TestData::sample("eusb-16gb/devlinks"), "EXU0000000000001", ""),
             "Example_Flash_Drive");
   EXPECT_EQ(modelOf("usb-Generic-_SM_xD-Picture_0123ABCD-0:1"), "Generic-_SM_xD-Picture");
}

TEST(EusbModelTest, UsesTheFirstLinkInTheFolder) {
   std::string const good = "/dev/disk/by-id/usb-Good_S1-0:0";
   EXPECT_EQ(
       eusbModel("/dev/disk/by-path/usb-Path_S1 \n\t" + good + " /dev/disk/by-id/usb-Late_S1", "S1", "m"),
       "Good");
   EXPECT_EQ(eusbModel("/dev/disk/by-id/wwn " + good, "S1", "m"), "m");
   EXPECT_EQ(eusbModel("/dev/disk/by-id/ " + good, "S1", "m"), "m");
   EXPECT_EQ(eusbModel("/dev/disk/by-id x/dev/disk/by-id/usb-Bad_S1 " + good, "S1", "m"), "Good");
}

TEST(EusbModelTest, KeepsTheModelWithoutALink) {
   for (auto const * links : {"", "  ", "/dev/disk/by-path/pci-0000:00:14.0-usb-0:7 /dev/disk/by-diskseq/9"})
      EXPECT_EQ(eusbModel(links, "S1", "before"), "before");
}

TEST(EusbModelTest, KeepsTheModelWhereTheNameIsTooShort) {
   for (auto const * name : {"", "-", "usb", "usb-", "usb-S", "usb_Model_S"})
      EXPECT_EQ(modelOf(name, "S"), "before") << name;
   EXPECT_EQ(modelOf("usb-_S", "S"), "");
   EXPECT_EQ(modelOf("usb-M_S", "S"), "M");
}

TEST(EusbModelTest, DoesNotFindASerialRightAfterTheHyphen) {
   EXPECT_EQ(modelOf("usb-0123ABCD-0:0"), "before");
   EXPECT_EQ(modelOf("usb-0123ABCD_Drive_0123ABCD-0:0"), "0123ABCD_Drive");
   EXPECT_EQ(modelOf("usb-AAA", "AA"), "");
}

TEST(EusbModelTest, KeepsTheModelWhereTheSerialIsEmptyOrNotFound) {
   EXPECT_EQ(modelOf("usb-Vendor_Flash_Drive_0123ABCE-0:0"), "before");
   EXPECT_EQ(modelOf("usb-Vendor_Flash_Drive_0123abcd-0:0"), "before");
   EXPECT_EQ(modelOf("usb-Vendor_Flash_Drive_0123ABCD-0:0", ""), "before");
}

TEST(EusbModelTest, ReplacesEmptyTextsOfTheIdentity) {
   EXPECT_EQ(eusbIdentity("", "", "", ""), (EusbIdentity{"Unknown", "Unknown", "Unknown"}));
   EXPECT_EQ(eusbIdentity("/dev/disk/by-path/x", "S", "", "1.0"), (EusbIdentity{"Unknown", "S", "1.0"}));
   EXPECT_EQ(eusbIdentity("/dev/disk/by-id/usb-_S", "S", "before", ""),
             (EusbIdentity{"Unknown", "S", "Unknown"}));
   EXPECT_EQ(eusbIdentity("/dev/disk/by-id/usb-A_B_S-0:0", "S", "before", "1.0"),
             (EusbIdentity{"A_B", "S", "1.0"}));
}

// The rule once more, one step after the other.
std::string naiveModel(std::string const & devlinks, std::string const & serial, std::string model) {
   std::istringstream words(devlinks);
   for (std::string word; words >> word;) {
      if (word.compare(0, 16, "/dev/disk/by-id/") != 0)
         continue;
      auto const hyphen = word.find('-', 16);
      std::string const rest = hyphen == std::string::npos ? "" : word.substr(hyphen + 1);
      for (std::size_t at = 1; rest.size() >= 2 && !serial.empty() && at < rest.size(); ++at) {
         if (rest.compare(at, serial.size(), serial) == 0)
            return rest.substr(0, at - 1);
      }
      return model;
   }
   return model;
}

TEST(EusbModelTest, ReadsRandomLinksByTheRule) {
   std::vector<std::string> const pieces{"/dev/disk/by-id/",
                                         "/dev/disk/by-id/",
                                         "/dev/disk/by-path/",
                                         " ",
                                         "\n",
                                         "usb-",
                                         "-",
                                         "_",
                                         "S",
                                         "SS",
                                         "A",
                                         "Model_",
                                         "\v"};
   std::vector<std::string> const serials{"S", "SS", "S_", "", "_", "-"};
   std::mt19937 random(9);
   int changed = 0;
   for (int i = 0; i < 20'000; ++i) {
      std::string links = random() % 4 != 0 ? "/dev/disk/by-id/usb-" : "";
      for (auto count = random() % 8; count > 0; --count)
         links += pieces[random() % pieces.size()];
      std::string const & serial = serials[random() % serials.size()];
      std::string const model = eusbModel(links, serial, "before");
      ASSERT_EQ(model, naiveModel(links, serial, "before")) << links << '|' << serial;
      changed += model != "before" ? 1 : 0;
   }
   EXPECT_GT(changed, 2'000);
}

TEST(EusbModelTest, FindsAModelInTheLinksOfRealUsbDisks) {
   SKIP_WITHOUT_CORPUS();
   int found = 0;
   for (auto const & file : TestData::corpusFiles("udev")) {
      std::istringstream lines(TestData::contentOf(file));
      std::string links;
      std::string serial;
      for (std::string line; std::getline(lines, line);) {
         if (line.rfind("E: DEVLINKS=", 0) == 0)
            links = line.substr(12);
         if (line.rfind("E: ID_SERIAL_SHORT=", 0) == 0)
            serial = line.substr(19);
      }
      EXPECT_EQ(eusbModel(links, serial, "before"), naiveModel(links, serial, "before")) << file;
      found += eusbModel(links, serial, "before") != "before" ? 1 : 0;
   }
   EXPECT_GT(found, 5);
}

}  // namespace
}  // namespace StorageDevices
