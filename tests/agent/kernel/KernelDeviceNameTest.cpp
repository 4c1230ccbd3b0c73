#include "agent/kernel/KernelDeviceName.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

TEST(KernelDeviceNameTest, FindsTheDisksOfPartitionsAndPaths) {
   for (auto const & [name, disk] :
        std::vector<std::pair<std::string, std::string>>{{"sda", "sda"},
                                                         {"sda1", "sda"},
                                                         {"md0", ""},
                                                         {"mdx", "mdx"},
                                                         {"drbd1", ""},
                                                         {"bcache0p2", ""},
                                                         {"sdaa15", "sdaa"},
                                                         {"vdb1", "vdb"},
                                                         {"xvda2", "xvda"},
                                                         {"hda1", "hda"},
                                                         {"mmcblk0", "mmcblk0"},
                                                         {"mmcblk0p2", "mmcblk0"},
                                                         {"mmcblk0boot1", "mmcblk0"},
                                                         {"mmcblk0rpmb", "mmcblk0"},
                                                         {"mmcblk10gp0", "mmcblk10"},
                                                         {"nvme0n1", "nvme0n1"},
                                                         {"nvme0n1p3", "nvme0n1"},
                                                         {"nvme10n2p13", "nvme10n2"},
                                                         {"nvme0c1n1", "nvme0n1"},
                                                         {"nvme0", "nvme0"},
                                                         {"nvme0n", "nvme0n"},
                                                         {"nvme0n1p", "nvme0n1p"},
                                                         {"md127p1", ""},
                                                         {"loop0", "loop0"},
                                                         {"nbd0p1", "nbd0"},
                                                         {"sd1", "sd1"},
                                                         {"sda1x", "sda1x"},
                                                         {"mmcblk0p2x", "mmcblk0p2x"},
                                                         {"mmc0", "mmc0"},
                                                         {"ata1", "ata1"},
                                                         {"", ""},
                                                         {"usb 2-1", "usb 2-1"},
                                                         {"usb 2-1:1.0", "usb 2-1"}})
      EXPECT_EQ(Agent::wholeDisk(name), disk);
}

}  // namespace
