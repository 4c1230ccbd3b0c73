#include "agent/kernel/KernelFileSystems.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/TempDir.h"

namespace {

using Agent::liesOnSeveralDevices;

class KernelFileSystemsTest : public testing::Test {
 protected:
   void has(std::string const & fileSystem, std::string const & device) const {
      auto const devices = std::filesystem::path{folder.string()} / fileSystem / "devices";
      std::filesystem::create_directories(devices);
      std::filesystem::create_symlink("/nowhere", devices / device);
   }

   Support::TempDir folder;
};

TEST_F(KernelFileSystemsTest, FindsSeveralDevicesOfAMirrorAndOneOfASingleDisk) {
   std::filesystem::create_directories(std::filesystem::path{folder.string()} / "features");
   has("0f8fad5b-d9cb-469f-a165-70867728950e", "sda1");
   has("0f8fad5b-d9cb-469f-a165-70867728950e", "sdb1");
   has("7c9e6679-7425-40de-944b-e07fc1f90ae7", "sdc1");
   EXPECT_TRUE(liesOnSeveralDevices("sda1", folder.string()));
   EXPECT_TRUE(liesOnSeveralDevices("sdb1", folder.string()));
   EXPECT_FALSE(liesOnSeveralDevices("sdc1", folder.string()));
   EXPECT_FALSE(liesOnSeveralDevices("sda", folder.string()));
}

TEST_F(KernelFileSystemsTest, FindsNothingForBadNamesAndMissingFolders) {
   has("0f8fad5b-d9cb-469f-a165-70867728950e", "sda1");
   has("0f8fad5b-d9cb-469f-a165-70867728950e", "sdb1");
   for (std::string const name : {"", ".", "..", "../devices/sda1", "/sda1", "sdz"})
      EXPECT_FALSE(liesOnSeveralDevices(name, folder.string())) << name;
   EXPECT_FALSE(liesOnSeveralDevices("sda1", folder.string() + "/missing"));
}

}  // namespace
