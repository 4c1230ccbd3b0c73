// Sixty random devices at a time, their records compared with a naive reading of the rules.
#include <gtest/gtest.h>

#include "tests/integration/RandomDevices.h"
#include "tests/support/DiscoveryTest.h"

namespace {

using namespace StorageDevices::Simulation;
using namespace RandomDevices;

class RandomDevicesTest : public Support::DiscoveryTest, public testing::WithParamInterface<unsigned> {
 protected:
   static constexpr unsigned deviceCount = 60;
   using Serials = std::map<std::string, std::string>;

   void rulesAre(Rules const & rules) {
      unit_.blockdevIs(rules.blockdev);
      unit_.multidriveIs(rules.multidrive);
      unit_.multidriveSrcIs(rules.multidriveSrc);
      for (std::string const & mount : rules.expectedMounts)
         fruConfig_->expectedMountsIs(mount);
   }

   void toolsKnow(Device const & device) {
      if (!device.report)
         return;
      DiskFields const & report = *device.report;
      std::string const & name = device.disk.name;
      std::uint64_t const bytes = std::uint64_t{report.sizeGb} * 1000000000;
      if (Reading::isSsd(device))
         unit_.tools().outputIs(
             Tool::hdparm, name,
             hdparmReport({name, report.model, report.name, report.firmwareRevision, bytes / 512}));
      if (Reading::isNvme(device))
         unit_.tools().outputIs(
             Tool::nvmeList, name,
             nvmeListDocument({{name, report.model, report.name, report.firmwareRevision, bytes}}));
   }

   // What must be there for these devices.
   void expectDisksOf(std::vector<Device> const & devices, Reading const & reading) {
      std::map<std::string, DiskFields> records;
      Serials names;
      for (Device const & device : devices)
         if (auto const record = reading.record(device, unit_.sysPath(device.disk.name))) {
            records.emplace(record->name, *record);
            names.emplace(Reading::udevSerial(device), record->name);
         }
      EXPECT_FALSE(records.empty());
      EXPECT_EQ(disks(), records);
      EXPECT_EQ(serials(), names);
   }
};

TEST_P(RandomDevicesTest, ClassifiesRandomDevicesByTheRules) {
   Generator random{GetParam()};
   Rules const rules = random.rules();
   Reading const reading{rules};
   rulesAre(rules);
   unit_.whenFullIs(&handleEvents);
   std::vector<Device> devices;
   for (unsigned i = 0; i < deviceCount; ++i) {
      devices.push_back(random.device(i));
      toolsKnow(devices.back());
      if (i == deviceCount / 2)
         startAndSettle();
      if (sm_)
         unit_.plug(devices.back().disk);
      else
         unit_.add(devices.back().disk);
   }
   settle();
   expectDisksOf(devices, reading);
   EXPECT_TRUE(isReady());
   for (Device const & device : devices)
      unit_.change(device.disk.name);
   settle();
   expectDisksOf(devices, reading);
   for (unsigned i = 0; i < deviceCount / 3; ++i) {
      auto const gone =
          devices.begin() +
          static_cast<std::ptrdiff_t>(random.oneOf<std::size_t>({0, devices.size() / 3, devices.size() - 1}));
      unit_.unplug(gone->disk.name);
      devices.erase(gone);
   }
   settle();
   expectDisksOf(devices, reading);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomDevicesTest, testing::Range(1U, 6U));

}  // namespace
