// What discovery makes of the appliance's files.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/DiscoveryTest.h"

namespace {

using namespace StorageDevices::Simulation;
using StorageDevices::EtcBlockdevEntry;
using Texts = std::vector<std::string>;

class DiscoveryFilesTest : public Support::DiscoveryTest {
 protected:
   // A folder in the file's place: it can be opened, but not read.
   void unreadableIs(char const * name) const { std::filesystem::create_directory(unit_.etcFolder() / name); }
   static EtcBlockdevEntry entry(char const * pattern, char const * mount) { return {pattern, mount}; }
};

TEST_F(DiscoveryFilesTest, ReadsEntriesInFileOrderWhateverTheLines) {
   unit_.etcFileIs("blockdev", "pci0/a.* flash pci1/b.*\n\n\tdrive\npci2 drive2");
   unit_.etcFileIs("multidrive", "one\ntwo three\n");
   unit_.etcFileIs("multidrive_src", " source other\n");
   start();
   EXPECT_EQ(sm_->etcBlockDev(),
             (std::vector<EtcBlockdevEntry>{entry("pci0/a.*", "flash"), entry("pci1/b.*", "drive"),
                                            entry("pci2", "drive2")}));
   EXPECT_EQ(sm_->etcMultidrive(), (std::vector<Pelm::String>{"one", "two", "three"}));
   EXPECT_EQ(*sm_->multidriveSrc(), "source");
   EXPECT_EQ(traces_.texts(2),
             (Texts{" /etc/blockdev entry: pci0/a.* flash", " /etc/blockdev entry: pci1/b.* drive",
                    " /etc/blockdev entry: pci2 drive2", " /etc/multidrive entry: one",
                    " /etc/multidrive entry: two", " /etc/multidrive entry: three",
                    " /etc/multidrive_src: source", " enumerating devices"}));
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(DiscoveryFilesTest, CutsAndTracesAWhiteboxEntry) {
   unit_.blockdevIs({{"pci0/ata1/1.*$", "flash"}, {"pci0/ata1/host", "drive"}});
   start();
   EXPECT_EQ(sm_->etcBlockDev(),
             (std::vector<EtcBlockdevEntry>{entry("pci0/ata1", "flash"), entry("pci0/ata1/host", "drive")}));
   EXPECT_EQ(traces_.texts(2),
             (Texts{" Whitebox entry detected; modifying", " /etc/blockdev entry: pci0/ata1 flash",
                    " /etc/blockdev entry: pci0/ata1/host drive", " enumerating devices"}));
}

TEST_F(DiscoveryFilesTest, DropsTheLastOfAnOddNumberOfWordsWithoutAnError) {
   unit_.etcFileIs("blockdev", "pci0 flash pci1\n");
   start();
   EXPECT_EQ(sm_->etcBlockDev(), std::vector<EtcBlockdevEntry>{entry("pci0", "flash")});
   EXPECT_TRUE(traces_.errors().empty());
}

TEST_F(DiscoveryFilesTest, TracesAMissingBlockdevAndPassesNoDevice) {
   unit_.add(usbDisk("sda", "1-1", "0123ABCD", "Flash", 1000));
   startAndSettle();
   EXPECT_EQ(traces_.errors(), Texts{" could not open /etc/blockdev"});
   EXPECT_EQ(traces_.count(2, " strange device /dev/sda doesn't have an /etc/blockdev entry; skipping"), 1);
   EXPECT_TRUE(disks().empty());
   EXPECT_TRUE(isReady());
}

TEST_F(DiscoveryFilesTest, AcceptsMissingMultidriveFilesAndTreatsNoDriveAsInactive) {
   unit_.blockdevIs({{".*", "usb1"}});
   unit_.add(usbDisk("sda", "1-1", "0123ABCD", "Flash", 1000));
   startAndSettle();
   EXPECT_TRUE(traces_.errors().empty());
   EXPECT_TRUE(sm_->etcMultidrive().empty());
   EXPECT_FALSE(sm_->multidriveSrc().has_value());
   EXPECT_TRUE(has("0123ABCD"));
}

TEST_F(DiscoveryFilesTest, AcceptsEmptyFiles) {
   for (char const * const name : {"blockdev", "multidrive", "multidrive_src"})
      unit_.etcFileIs(name, "");
   start();
   EXPECT_TRUE(traces_.errors().empty());
   EXPECT_TRUE(sm_->etcBlockDev().empty());
   EXPECT_FALSE(sm_->multidriveSrc().has_value());
}

TEST_F(DiscoveryFilesTest, TracesUnreadableFilesInOrderAndContinues) {
   for (char const * const name : {"multidrive_src", "multidrive", "blockdev"})
      unreadableIs(name);
   start();
   EXPECT_EQ(traces_.errors(),
             (Texts{" error while reading /etc/blockdev", " error while reading /etc/multidrive",
                    " error while reading /etc/multidrive_src"}));
   EXPECT_TRUE(isReady());
}

TEST_F(DiscoveryFilesTest, StallsOnNoFifoOrDeviceInTheirPlace) {
   ASSERT_EQ(mkfifo((unit_.etcFolder() / "blockdev").c_str(), 0600), 0);
   ASSERT_EQ(mkfifo((unit_.etcFolder() / "multidrive").c_str(), 0600), 0);
   std::filesystem::create_symlink("/dev/zero", unit_.etcFolder() / "multidrive_src");
   start();
   EXPECT_EQ(traces_.errors(),
             (Texts{" error while reading /etc/blockdev", " error while reading /etc/multidrive",
                    " error while reading /etc/multidrive_src"}));
   EXPECT_TRUE(isReady());
}

TEST_F(DiscoveryFilesTest, ReadsLinksToRegularFiles) {
   unit_.etcFileIs("elsewhere", "pci0 flash");
   std::filesystem::create_symlink("elsewhere", unit_.etcFolder() / "blockdev");
   start();
   EXPECT_EQ(sm_->etcBlockDev(), std::vector<EtcBlockdevEntry>{entry("pci0", "flash")});
}

TEST_F(DiscoveryFilesTest, KeepsEntriesBeforeAReadError) {
   unit_.etcFileIs("blockdev", "pci0 flash " + std::string(5000, 'x') + " drive");
   unit_.etcFileIs("multidrive", "one " + std::string(5000, 'x'));
   start();
   EXPECT_EQ(sm_->etcBlockDev(), std::vector<EtcBlockdevEntry>{entry("pci0", "flash")});
   EXPECT_EQ(sm_->etcMultidrive(), std::vector<Pelm::String>{"one"});
   EXPECT_EQ(traces_.errors(),
             (Texts{" error while reading /etc/blockdev", " error while reading /etc/multidrive"}));
}

TEST_F(DiscoveryFilesTest, ReadsAnInvalidPatternAndMatchesNothingWithIt) {
   unit_.blockdevIs({{"[", "flash"}, {".*", "usb1"}});
   unit_.multidriveIs({"\\("});
   unit_.add(usbDisk("sda", "1-1", "0123ABCD", "Flash", 1000));
   startAndSettle();
   EXPECT_EQ(disk("0123ABCD").mountPoint, "/mnt/usb1");
}

}  // namespace
