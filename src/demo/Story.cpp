#include "demo/Story.h"

#include "demo/Cast.h"

namespace Demo {

std::vector<std::string> const & expectedMounts() {
   static std::vector<std::string> const mounts{"flash", "drive", "drive2", "eusb"};
   return mounts;
}

void bootUnit(SimulatedUnit & unit) {
   unit.blockdevIs({{"pci0000:00/0000:00:02.0/ata1/host", "flash"},
                    {"pci0000:00/0000:01:00.0/nvme", "drive"},
                    {"pci0000:00/0000:00:06.0/mmc_host", "drive2"},
                    {"pci0000:00/0000:00:05.0/usb2/2-1", "eusb"},
                    {"pci0000:00/0000:00:05.0/usb1/1-1", "usb1"}});
   for (auto const & disk : {flashDisk(), driveDisk(), emmcDisk(), eusbDisk()}) {
      unit.add(disk);
      toolsReport(unit, disk);
   }
   mountAll(unit);
}

std::vector<Step> const & story() {
   static std::vector<Step> const steps = [] {
      std::vector<Step> all;
      for (auto const & chapter : {discoveryChapter(), wearChapter(), fileSystemChapter(), failureChapter(),
                                   replacementChapter(), bootChapter()})
         all.insert(all.end(), chapter.begin(), chapter.end());
      return all;
   }();
   return steps;
}

}  // namespace Demo
