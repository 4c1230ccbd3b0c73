#include "StorageDevices/EtcBlockdevEntry.h"

#include <gtest/gtest.h>

namespace StorageDevices {
namespace {

TEST(EtcBlockdevEntryTest, ComparesByValue) {
   EXPECT_TRUE(EtcBlockdevEntry("a.*", "drive").isEq(EtcBlockdevEntry("a.*", "drive")));
   EXPECT_FALSE(EtcBlockdevEntry("a.*", "drive").isEq(EtcBlockdevEntry("a.*", "flash")));
   EXPECT_FALSE(EtcBlockdevEntry("a.*", "drive").isEq(EtcBlockdevEntry("b.*", "drive")));
}

TEST(EtcBlockdevEntryTest, ReadsAndWritesItsAttributes) {
   EtcBlockdevEntry entry{"a.*", "drive"};
   EXPECT_EQ(entry.sysPathRe(), "a.*");
   EXPECT_EQ(entry.mount(), "drive");
   entry.sysPathReIs("b.*");
   entry.mountIs("flash");
   EXPECT_EQ(entry, EtcBlockdevEntry("b.*", "flash"));
}

TEST(EtcBlockdevEntryTest, ReadsItsTextFormBack) {
   EtcBlockdevEntry const entry{"pci0000:00/.*, \"x\"\\(1)", "drive"};
   EXPECT_EQ(entry.stringValue().view(),
             R"x(EtcBlockdevEntry(sysPathRe="pci0000:00/.*, \"x\"\\(1)", mount="drive"))x");
   EXPECT_EQ(EtcBlockdevEntry::instance(entry.stringValue().view()).value(), entry);
}

}  // namespace
}  // namespace StorageDevices
