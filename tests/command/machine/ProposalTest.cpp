#include "command/machine/Proposal.h"

#include <gtest/gtest.h>

#include <map>

namespace Command {
namespace {

MachineDisk ownDisk(std::string const & name, std::vector<std::string> mountPoints = {}) {
   MachineDisk disk{"/dev/" + name, "SN-" + name, "platform/" + name};
   disk.port = {name + "$", name + "$", {}, true};
   disk.mountPoints = std::move(mountPoints);
   return disk;
}

MachineDisk usbStick(std::string const & name, std::vector<std::string> mountPoints = {}) {
   MachineDisk stick = ownDisk(name, std::move(mountPoints));
   stick.isRemovable = true;
   stick.isUsb = true;
   return stick;
}

std::string joined(std::vector<std::string> const & reasons) {
   std::string text;
   for (std::string const & reason : reasons)
      text += (text.empty() ? "" : "; ") + reason;
   return text;
}

// "drive fixed: a reason; another" by device.
using Outcomes = std::map<std::string, std::string>;

Outcomes outcomesOf(Proposal const & proposal) {
   Outcomes outcomes;
   for (ProposedDisk const & each : proposal.disks)
      outcomes[each.disk.device] = each.mount + (each.isFixed ? " fixed" : "") + ": " + joined(each.reasons);
   return outcomes;
}

TEST(ProposalTest, ExpectsDisksWhereTheyAreMounted) {
   auto const proposed =
       proposal({ownDisk("sda", {"/mnt/flash", "/mnt/second"}), ownDisk("sdb", {"/mnt/drive"})});
   EXPECT_EQ(outcomesOf(proposed), (Outcomes{{"/dev/sda", "flash fixed: it is mounted there"},
                                             {"/dev/sdb", "drive fixed: it is mounted there"}}));
   EXPECT_EQ(proposed.blockdev(), "sda$  flash\nsdb$  drive\n");
   EXPECT_EQ(proposed.expectedMounts(), (std::vector<std::string>{"drive", "flash"}));
}

TEST(ProposalTest, ExpectsNoDiskThatIsMadeToBePulled) {
   auto card = ownDisk("mmcblk0");
   card.isRemovable = true;
   auto const proposed = proposal({usbStick("sda", {"/mnt/backup"}), usbStick("sdb"), usbStick("sdc"),
                                   usbStick("sdd", {"/mnt/flash"}), card});
   EXPECT_EQ(outcomesOf(proposed), (Outcomes{{"/dev/sda", "backup: it is mounted there, and may come and go"},
                                             {"/dev/sdb", "usb1: it may come and go"},
                                             {"/dev/sdc", "usb2: it may come and go"},
                                             // This name alone makes a disk fixed.
                                             {"/dev/sdd", "flash fixed: it is mounted there"},
                                             {"/dev/mmcblk0", "card1: it may come and go"}}));
   EXPECT_EQ(proposed.expectedMounts(), std::vector<std::string>{"flash"});
}

TEST(ProposalTest, WatchesDisksWhoseFileSystemsItCannotTest) {
   auto member = ownDisk("sdd");
   member.users = {"md0", "md1"};
   auto const proposed = proposal({ownDisk("sda", {"/boot/efi", "/"}),
                                   ownDisk("sdb", {"/srv/data", "/mnt/a b"}), ownDisk("sdc"), member});
   EXPECT_EQ(outcomesOf(proposed),
             (Outcomes{{"/dev/sda", "system: the system runs from it, so its file system is not tested"},
                       {"/dev/sdb",
                        "disk1: it is mounted at /srv/data; file systems are tested at /mnt/NAME alone"},
                       {"/dev/sdc", "disk2: nothing of it is mounted: once it is, run init again"},
                       {"/dev/sdd", "disk3: it is a part of md0, md1"}}));
   EXPECT_TRUE(proposed.expectedMounts().empty());
}

TEST(ProposalTest, PrefersTheMountPointOfAnApplianceToTheSystem) {
   EXPECT_EQ(outcomesOf(proposal({ownDisk("sda", {"/", "/mnt/flash"})})),
             (Outcomes{{"/dev/sda", "flash fixed: it is mounted there"}}));
}

TEST(ProposalTest, GivesAMountPointToOneDiskAndNoNameTwice) {
   auto const proposed = proposal({ownDisk("sda", {"/mnt/disk1"}), ownDisk("sdb", {"/mnt/disk1"}),
                                   ownDisk("sdc", {"/mnt/system"}), ownDisk("sdd", {"/"})});
   EXPECT_EQ(outcomesOf(proposed),
             (Outcomes{{"/dev/sda", "disk1 fixed: it is mounted there"},
                       {"/dev/sdb", "disk2: another disk is listed as /mnt/disk1, which is on several"},
                       {"/dev/sdc", "system fixed: it is mounted there"},
                       {"/dev/sdd", "system1: the system runs from it, so its file system is not tested"}}));
}

TEST(ProposalTest, ListsNoDiskWhosePortCannotBeToldFromAnothers) {
   auto first = ownDisk("nvme0n1", {"/mnt/drive"});
   auto second = ownDisk("nvme1n1");
   first.port.general = second.port.general = "nvme[0-9]*n1$";
   auto hidden = ownDisk("nvme2n1");
   hidden.port.isPort = false;
   auto const proposed = proposal({first, second, hidden, ownDisk("sda")});
   std::string const sentence = " after a reboot; the kernel allots the numbers in which their paths differ";
   EXPECT_EQ(
       outcomesOf(proposed),
       (Outcomes{{"/dev/nvme0n1", ": its port cannot be told apart from that of /dev/nvme1n1" + sentence},
                 {"/dev/nvme1n1", ": its port cannot be told apart from that of /dev/nvme0n1" + sentence},
                 {"/dev/nvme2n1", ": its path names no port"},
                 {"/dev/sda", "disk1: nothing of it is mounted: once it is, run init again"}}));
   EXPECT_EQ(proposed.blockdev(), "sda$  disk1\n");
}

TEST(ProposalTest, WarnsOfANumberThatMayChange) {
   auto drive = ownDisk("sda", {"/mnt/eusb"});
   drive.port.kept = {"usb2"};
   EXPECT_EQ(outcomesOf(proposal({drive})), (Outcomes{{"/dev/sda",
                                                       "eusb fixed: it is mounted there; after a reboot run "
                                                       "check-config: the kernel allots the number in "
                                                       "usb2"}}));
}

TEST(ProposalTest, RepeatsWhyDiscoverySkipsADisk) {
   auto nameless = ownDisk("vda", {"/mnt/drive"});
   nameless.obstacle = "udev has no serial number for it";
   EXPECT_EQ(outcomesOf(proposal({nameless})),
             (Outcomes{{"/dev/vda", ": udev has no serial number for it"}}));
}

TEST(ProposalTest, TakesNamesOfPlainCharactersAlone) {
   for (std::string const mountPoint :
        {"/mnt/", "/mnt/a b", "/mnt/a/b", "/mnt/..", "/mnt/\"", "/mnt/\n", "/mnt/ä", "/mntx"})
      EXPECT_EQ(proposal({ownDisk("sda", {mountPoint})}).disks[0].mount, "disk1") << mountPoint;
   EXPECT_EQ(proposal({ownDisk("sda", {"/mnt/A-1_b.c+d"})}).disks[0].mount, "A-1_b.c+d");
}

TEST(ProposalTest, DropsADiskThatWouldNotBecomeWhatIsProposed) {
   auto proposed = proposal({ownDisk("sda", {"/mnt/a"}), ownDisk("sdb", {"/mnt/b"}), ownDisk("sdc"),
                             ownDisk("sdd"), ownDisk("sde")});
   StorageDevices::DiscoveryPreview preview;
   preview.devices = {{"/dev/sda", "", "fixed", "/mnt/a, sata", "A", "/mnt/a"},
                      {"/dev/sdb", "", "removable", "/mnt/b, sata", "B", "/mnt/b"},
                      {"/dev/sdc", "", "removable", "/mnt/other, sata", "C", "/mnt/other"},
                      {"/dev/sdd", "", "skipped", "expr cannot be started", "D", ""}};
   verify(proposed, preview);
   EXPECT_EQ(outcomesOf(proposed),
             (Outcomes{{"/dev/sda", "a fixed: it is mounted there"},
                       {"/dev/sdb", ": no pattern gives it a place of its own: /mnt/b, sata"},
                       {"/dev/sdc", ": no pattern gives it a place of its own: /mnt/other, sata"},
                       {"/dev/sdd", ": no pattern gives it a place of its own: expr cannot be started"},
                       {"/dev/sde", ": no pattern gives it a place of its own"}}));
   EXPECT_EQ(proposed.expectedMounts(), std::vector<std::string>{"a"});
}

}  // namespace
}  // namespace Command
