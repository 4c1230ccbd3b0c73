// Which devices discovery takes, and what it takes them for.
#include <gtest/gtest.h>

#include "tests/support/DiscoveryTest.h"
#include "tests/support/TempDir.h"
#include "tests/support/UdevDevices.h"

namespace {

using namespace StorageDevices::Simulation;
using BusType = StorageDevices::ConnectedDisk::BusType;
using Support::DiskFields;

class DiscoveryFilterTest : public Support::DiscoveryTest {
 protected:
   // A disk that no collector knows, at a path of its own.
   static Disk plainDisk(std::string const & name, std::string const & place = "virtual") {
      auto disk = otherDisk(name, place, 1953125);
      disk.serial = "serial of " + name;
      return disk;
   }
   void everythingIsMountedAt(char const * mount) { unit_.blockdevIs({{".*", mount}}); }
};

TEST_F(DiscoveryFilterTest, InsertsARemovableDiskAtOnceWithUdevsValues) {
   unit_.blockdevIs({{".*/usb1/", "usb1"}});
   unit_.add(usbDisk("sda", "1-1.2", "0123ABCD", "Flash Drive", 31250000));
   start();
   EXPECT_TRUE(isReady());
   EXPECT_EQ(disk("0123ABCD"), (DiskFields{.name = "0123ABCD",
                                           .mibType = 0,
                                           .blockDevice = "/dev/sda",
                                           .mountPoint = "/mnt/usb1",
                                           .model = "Flash_Drive",
                                           .firmwareRevision = "1.00",
                                           .removable = true,
                                           .busType = BusType::usb,
                                           .devAddress = "1-1.2",
                                           .sizeGb = 16}));
   EXPECT_EQ(serials(), (std::map<std::string, std::string>{{"0123ABCD", "0123ABCD"}}));
   EXPECT_TRUE(unit_.tools().runs().empty());
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(DiscoveryFilterTest, IgnoresADeviceWithoutSerialNodeOrBoth) {
   everythingIsMountedAt("usb1");
   auto noSerial = plainDisk("vda");
   noSerial.absent = {"ID_SERIAL", "ID_SERIAL_SHORT"};
   auto emptySerial = plainDisk("vdb");
   emptySerial.properties = {{"ID_SERIAL", ""}, {"ID_SERIAL_SHORT", ""}};
   auto noNode = plainDisk("vdc");
   noNode.absent = {"DEVNAME"};
   for (auto const & disk : {noSerial, emptySerial, noNode})
      unit_.add(disk);
   startAndSettle();
   for (char const * const name : {"vda", "vdb", "vdc"})
      unit_.announce(name, "add");
   settle();
   EXPECT_TRUE(disks().empty());
   EXPECT_TRUE(serials().empty());
   EXPECT_EQ(traces_.count(2, " handling add event"), 3);
   for (std::string const & text : traces_.texts(2))
      EXPECT_FALSE(text.starts_with(" processing addition")) << text;
}

TEST_F(DiscoveryFilterTest, IgnoresADeviceOfNoEntry) {
   unit_.blockdevIs({{".*/usb1/", "usb1"}, {"usb9", "flash"}});
   unit_.add(plainDisk("vda"));
   startAndSettle();
   EXPECT_TRUE(disks().empty());
   unit_.change("vda");
   settle();
   EXPECT_TRUE(disks().empty());
   unit_.unplug("vda");
   settle();
   EXPECT_EQ(traces_.count(2, " strange device /dev/vda doesn't have an /etc/blockdev entry; skipping"), 2);
   EXPECT_EQ(traces_.count(2, " processing addition for /dev/vda"), 2);
   EXPECT_TRUE(isReady());
}

TEST_F(DiscoveryFilterTest, UsesTheFirstMatchingEntryInFileOrder) {
   unit_.blockdevIs({{"nothing", "a"}, {"virtual/b", "usb2"}, {"virtual", "usb3"}, {".*", "usb4"}});
   unit_.add(plainDisk("vda"));
   startAndSettle();
   EXPECT_EQ(disk("serial of vda").mountPoint, "/mnt/usb2");
}

TEST_F(DiscoveryFilterTest, MatchesAPatternFromTheBeginningOfThePathBelowSysDevices) {
   unit_.blockdevIs({{"/sys/devices/virtual", "wrong1"},
                     {"/virtual", "wrong2"},
                     {"block/vda", "wrong3"},
                     {"virtual/block/vda$", "usb1"}});
   unit_.add(plainDisk("vda"));
   startAndSettle();
   EXPECT_EQ(disk("serial of vda").mountPoint, "/mnt/usb1");
}

TEST_F(DiscoveryFilterTest, TreatsTheUnitsOwnMountsAndTheExpectedOnesAsFixed) {
   std::vector<std::pair<std::string, std::string>> entries;
   std::map<std::string, bool> const removable{{"flash", false},   {"drive", false}, {"drive2", false},
                                               {"drive3", true},   {"usb1", true},   {"Flash", true},
                                               {"expected", false}};
   fruConfig_->expectedMountsIs("expected");
   fruConfig_->expectedMountsIs("/mnt/drive3");
   for (auto const & [mount, unused] : removable) {
      entries.emplace_back("place" + mount + "/block", mount);
      unit_.add(plainDisk("v" + mount, "place" + mount));
   }
   unit_.blockdevIs(entries);
   startAndSettle();
   for (auto const & [mount, isRemovable] : removable) {
      DiskFields const found = disk(("serial of v" + mount).c_str());
      EXPECT_EQ(found.mountPoint, "/mnt/" + mount);
      EXPECT_EQ(found.removable, isRemovable) << mount;
   }
}

TEST_F(DiscoveryFilterTest, ReadsTheModelFromIdNameAndOnlyWithoutItFromIdModel) {
   everythingIsMountedAt("usb1");
   auto both = plainDisk("vda");
   both.properties = {{"ID_NAME", "Name"}, {"ID_MODEL", "Model"}, {"ID_REVISION", "R 1"}};
   auto emptyName = plainDisk("vdb");
   emptyName.properties = {{"ID_NAME", ""}, {"ID_MODEL", "Model"}};
   for (auto const & disk : {both, emptyName, plainDisk("vdc")})
      unit_.add(disk);
   startAndSettle();
   EXPECT_EQ(disk("serial of vda").model, "Name");
   EXPECT_EQ(disk("serial of vda").firmwareRevision, "R 1");
   EXPECT_EQ(disk("serial of vdb").model, "Model");
   EXPECT_EQ(disk("serial of vdc").model, "");
   EXPECT_EQ(disk("serial of vdc").firmwareRevision, "");
}

TEST_F(DiscoveryFilterTest, ReadsTheSizeInGigabytesAndZeroWhenItCannotBeRead) {
   everythingIsMountedAt("usb1");
   std::map<std::string, std::pair<std::string, unsigned>> const sizes{
       {"vda", {"3907029168", 2000}},     {"vdb", {"", 0}},         {"vdc", {"many", 0}},
       {"vdd", {"2929687", 1}},           {"vde", {"2929688", 2}},  {"vdf", {"18446744073709551616", 0}},
       {"vdg", {"36028797018963968", 0}}, {"vdh", {"1953125 ", 0}}, {"vdi", {"-1", 0}}};
   for (auto const & [name, size] : sizes) {
      auto disk = plainDisk(name);
      disk.attributes["size"] = size.first;
      unit_.add(disk);
   }
   auto missing = plainDisk("vdz");
   missing.absent = {"size"};
   unit_.add(missing);
   startAndSettle();
   for (auto const & [name, size] : sizes)
      EXPECT_EQ(disk(("serial of " + name).c_str()).sizeGb, size.second) << size.first;
   EXPECT_EQ(disk("serial of vdz").sizeGb, 0U);
}

TEST_F(DiscoveryFilterTest, TreatsAMultidriveAsInactiveUnlessItIsTheSource) {
   everythingIsMountedAt("usb1");
   unit_.multidriveIs({"place1/", ".*/vdb"});
   unit_.multidriveSrcIs("place2/");
   unit_.add(plainDisk("vda", "place1"));
   unit_.add(plainDisk("vdb", "place2"));
   unit_.add(plainDisk("vdc", "place3"));
   startAndSettle();
   EXPECT_FALSE(has("serial of vda"));
   EXPECT_TRUE(has("serial of vdb"));
   EXPECT_TRUE(has("serial of vdc"));
   EXPECT_EQ(traces_.count(2, " is an inactive multidrive; skipping"), 1);
}

TEST_F(DiscoveryFilterTest, TracesAnEventStepByStep) {
   unit_.blockdevIs({{"known", "usb1"}, {"inactive", "usb2"}});
   unit_.multidriveIs({"inactive"});
   startAndSettle();
   traces_.clear();
   unit_.plug(plainDisk("vda", "known"));
   unit_.plug(plainDisk("vdb", "strange"));
   unit_.plug(plainDisk("vdc", "inactive"));
   settle();
   EXPECT_EQ(traces_.texts(2),
             (std::vector<std::string>{
                 " uevent received.", " received uevent with actionadd", " handling add event",
                 " processing addition for /dev/vda",  //
                 " uevent received.", " received uevent with actionadd", " handling add event",
                 " processing addition for /dev/vdb",
                 " strange device /dev/vdb doesn't have an /etc/blockdev entry; skipping",  //
                 " uevent received.", " received uevent with actionadd", " handling add event",
                 " processing addition for /dev/vdc", " is an inactive multidrive; skipping"}));
   EXPECT_EQ(traces_.lines().size(), 14U);
}

TEST_F(DiscoveryFilterTest, TreatsEveryMultidriveAsInactiveWithoutASource) {
   everythingIsMountedAt("usb1");
   unit_.multidriveIs({"place1/", "place2/"});
   unit_.add(plainDisk("vda", "place1"));
   unit_.add(plainDisk("vdb", "place2"));
   startAndSettle();
   EXPECT_TRUE(disks().empty());
   EXPECT_EQ(traces_.count(2, " is an inactive multidrive; skipping"), 2);
}

TEST_F(DiscoveryFilterTest, ChecksWhetherAPathIsInactiveByItsPatternsAlone) {
   everythingIsMountedAt("usb1");
   unit_.multidriveIs({"place1/", "place2/"});
   unit_.multidriveSrcIs("place2/");
   start();
   Support::TempDir const folder;
   folder.writeScript("expr", "echo run >>\"" + folder.string() + "/runs\"\nexec /usr/bin/expr \"$@\"");
   Support::EnvironmentSetting const path{"PATH", folder.string() + ":/usr/bin:/bin"};
   EXPECT_TRUE(sm_->isInactiveDrive("place1/block"));
   EXPECT_FALSE(sm_->isInactiveDrive("place2/block"));
   EXPECT_FALSE(sm_->isInactiveDrive("place3/block"));
   EXPECT_EQ(folder.content("runs").size() / 4, 2U + 1U + 3U);
}

TEST_F(DiscoveryFilterTest, SkipsAnInactiveDriveBeforeItSearchesItsEntry) {
   unit_.multidriveIs({".*"});
   unit_.add(plainDisk("vda"));
   startAndSettle();
   EXPECT_EQ(traces_.count(2, " is an inactive multidrive; skipping"), 1);
   EXPECT_EQ(traces_.count(2, " strange device /dev/vda doesn't have an /etc/blockdev entry; skipping"), 0);
}

TEST_F(DiscoveryFilterTest, IgnoresALoopDevice) {
   everythingIsMountedAt("flash");
   unit_.add(plainDisk("loop0"));
   unit_.add(plainDisk("loopy"));
   startAndSettle();
   unit_.announce("loop0", "add");
   unit_.change("loop0");
   settle();
   EXPECT_TRUE(disks().empty());
   EXPECT_EQ(traces_.count(2, " uevent received."), 2);
   EXPECT_EQ(traces_.count(2, " handling add event"), 0);
   EXPECT_EQ(traces_.count(2, " processing addition for /dev/loop0"), 0);
}

TEST_F(DiscoveryFilterTest, FollowsOnlyDevicesWithATypeAndNoLoopDevices) {
   Support::UdevDevices const udev;
   auto const isFollowed = [&](std::string const & name) {
      return StorageDevices::isFollowed(udev.device(unit_.sysPath(name)).get());
   };
   auto noType = plainDisk("vdb");
   noType.absent = {"DEVTYPE"};
   for (auto const & disk : {plainDisk("vda"), noType, plainDisk("loop0"), plainDisk("xloop")})
      unit_.add(disk);
   EXPECT_TRUE(isFollowed("vda"));
   EXPECT_FALSE(isFollowed("vdb"));
   EXPECT_FALSE(isFollowed("loop0"));
   EXPECT_TRUE(isFollowed("xloop"));
}

TEST_F(DiscoveryFilterTest, StopsAnEventOfADeviceWithoutATypeAtUdevsOwnFilter) {
   everythingIsMountedAt("usb1");
   auto noType = plainDisk("vdb");
   noType.absent = {"DEVTYPE"};
   unit_.add(noType);
   startAndSettle();
   unit_.announce("vdb", "add");
   handleEvents();
   EXPECT_EQ(traces_.count(2, " uevent received."), 0);
   EXPECT_TRUE(disks().empty());
}

TEST_F(DiscoveryFilterTest, ClassifiesANodeInASubfolderAsNoKnownKind) {
   unit_.blockdevIs({{".*", "drive"}});
   auto disk = sataDisk("sda", 1, "X", "Kestrel", 1953125);
   disk.properties["DEVNAME"] = "/dev/mapper/sda";
   unit_.add(disk);
   start();
   EXPECT_TRUE(sm_->diskInfoCollectorSm.empty());
   EXPECT_EQ(disks().at("X").blockDevice, "/dev/mapper/sda");
   EXPECT_EQ(disks().at("X").mibType, 0);
}

TEST_F(DiscoveryFilterTest, DoesNotTakeAPartitionForADisk) {
   everythingIsMountedAt("usb1");
   auto partition = plainDisk("vda1");
   partition.properties["DEVTYPE"] = "partition";
   unit_.add(partition);
   startAndSettle();
   unit_.announce("vda1", "add");
   settle();
   EXPECT_TRUE(disks().empty());
}

// Who completes a fixed disk of a name.
struct Choice {
   char const * name;
   std::optional<std::string> rotational;
   unsigned char mibType;
   char const * run;  // the tool's command line, empty for none

   // As a failure names it.
   friend void PrintTo(Choice const & choice, std::ostream * out) { *out << choice.name; }
};

class CollectorChoiceTest : public DiscoveryFilterTest, public testing::WithParamInterface<Choice> {};

TEST_P(CollectorChoiceTest, DependsOnTheNameAndTheQueueOfTheDevice) {
   everythingIsMountedAt("drive");
   auto disk = plainDisk(GetParam().name);
   disk.rotational = GetParam().rotational;
   unit_.add(disk);
   startAndSettle();
   auto const found = disks();
   ASSERT_EQ(found.size(), 1U);
   EXPECT_EQ(found.begin()->second.mibType, GetParam().mibType);
   auto const runs = unit_.tools().runs();
   EXPECT_EQ(runs.empty() ? "" : runs.front(), GetParam().run);
   EXPECT_TRUE(isReady());
}

INSTANTIATE_TEST_SUITE_P(
    Names, CollectorChoiceTest,
    testing::Values(Choice{"sda", "0", 2, "hdparm -I /dev/sda"}, Choice{"hdz", "0", 2, "hdparm -I /dev/hdz"},
                    Choice{"sdb", "1", 1, ""}, Choice{"sdc", "", 1, ""}, Choice{"sdd", "00", 1, ""},
                    Choice{"sde", std::nullopt, 0, ""}, Choice{"sdaa", "0", 0, ""}, Choice{"sdA", "0", 0, ""},
                    Choice{"sd1", "0", 0, ""}, Choice{"xsda", "0", 0, ""},
                    Choice{"nvme0n1", "1", 4, "nvme list -o json /dev/nvme0n1"},
                    Choice{"nvme12n34", std::nullopt, 4, "nvme list -o json /dev/nvme12n34"},
                    Choice{"nvme0n1p1", "0", 0, ""}, Choice{"nvme0c0n1", "0", 0, ""},
                    Choice{"mmcblk0", "0", 3, ""}, Choice{"emmcblk10", "0", 3, ""},
                    Choice{"mmcblk0boot0", "0", 0, ""}, Choice{"mmcblk", "0", 0, ""},
                    Choice{"vda", "0", 0, ""}, Choice{"dm-0", "0", 0, ""}),
    [](auto const & choice) {
       std::string name = choice.param.name;
       std::erase(name, '-');
       return name;
    });

}  // namespace
