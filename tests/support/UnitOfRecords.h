// A unit of one disk whose records a test writes, and what is made of them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "StorageDevices/Factories.h"
#include "StorageDevices/TempSensorSm.h"
#include "agent/verdict/Verdicts.h"
#include "tests/support/DiskFields.h"
#include "tests/support/VirtualTimeTest.h"

namespace Support {

class UnitOfRecords : public VirtualTimeTest {
 protected:
   using BusType = StorageDevices::ConnectedDisk::BusType;

   static constexpr char serial[] = "KS0001";

   static Agent::Entities made() {
      Agent::Config config;
      config.sensors["T1"] = {"Drive 1", 70, 80};
      config.appliance.sensors[serial] = "T1";
      config.appliance.expectedMounts = {"drive"};
      return Agent::entitiesOf(config);
   }

   // The disk, on a bus, with the records of that bus.
   void diskIs(unsigned char bus = BusType::sata, bool removable = false) const {
      DiskFields{.removable = removable, .busType = bus}.writeTo(*entities.devices);
      if (bus == BusType::other)
         entities.emmc->deviceDataIs(serial);
      else
         entities.smart->deviceDataIs(serial);
      if (bus == BusType::nvme)
         entities.nvme->deviceDataIs(serial);
   }
   // As the monitors do when it goes.
   void diskGoes() const {
      entities.devices->diskDel(serial);
      entities.smart->deviceDataDel(serial);
      entities.nvme->deviceDataDel(serial);
      entities.emmc->deviceDataDel(serial);
   }
   StorageDevices::DeviceSmartData & smart() const { return *entities.smart->deviceData(serial); }
   StorageDevices::DeviceNvmeData & nvme() const { return *entities.nvme->deviceData(serial); }
   StorageDevices::DeviceEmmcData & emmc() const { return *entities.emmc->deviceData(serial); }

   // Every record there is was read well.
   void allIsRead() const {
      if (auto const record = entities.smart->deviceData(serial))
         record->reading.countInc();
      if (auto const record = entities.nvme->deviceData(serial))
         record->reading.countInc();
      if (auto const record = entities.emmc->deviceData(serial))
         record->reading.countInc();
   }
   // The latest reading from that tool was a failed one.
   void readingFails(std::string_view tool, bool hangs = false) const {
      auto & reading = tool == "nvme" ? nvme().reading : smart().reading;
      reading.failureIs("it fails", hangs);
   }

   // "code: text" of each reason, after an evaluation.
   std::string reasons() {
      verdicts.evaluate();
      auto const verdict = verdicts.disks().verdict(serial);
      std::string text;
      for (Agent::Reason const & reason : verdict ? verdict->reasons() : std::vector<Agent::Reason>{})
         text += (text.empty() ? "" : "\n") + std::string{reason.code} + ": " + reason.text;
      return text;
   }
   std::string word() {
      verdicts.evaluate();
      auto const verdict = verdicts.disks().verdict(serial);
      return verdict ? Agent::verdictWord(verdict->verdict()) : "(none)";
   }

   Agent::Entities entities = made();
   Agent::Config::VerdictLimits limits;
   Agent::Readings readings{entities};
   Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> manager;
   bool allDevicesKnown = true;
   Agent::Verdicts verdicts{entities, limits, readings, [this] { return manager.get(); },
                            [this] { return allDevicesKnown; }};
};

}  // namespace Support
