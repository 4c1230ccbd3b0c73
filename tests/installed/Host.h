// What the sources of this host share: virtual time, a folder of its own, and the entities that every host
// makes.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "StorageDevices/ConnectedDevices.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/host/Log.h"
#include "runtime/host/Loop.h"
#include "runtime/host/TimeSource.h"
#include "runtime/model/FruConfig.h"
#include "runtime/model/PollInterval.h"

namespace InstalledHost {

using Disk = StorageDevices::ConnectedDisk;

class InstalledHostTest : public testing::Test {
 protected:
   InstalledHostTest() {
      Vorn::Host::timeSourceIs(std::make_unique<Vorn::Host::VirtualTime>());
      Vorn::Host::logSinkIs(
          [this](Vorn::Host::LogMessage const & message) { logged.push_back(message.text.str()); });
      std::string name = std::filesystem::temp_directory_path() / "installed-host-XXXXXX";
      folder = mkdtemp(name.data());
      fruConfig->etcDirIs(folder.c_str());
      fruConfig->mountSourceDirIs(folder.c_str());
      tracker->toolPathIs(folder.c_str());
   }
   ~InstalledHostTest() override {
      Vorn::Host::logSinkIs(nullptr);
      Vorn::Host::timeSourceIs(nullptr);
      std::error_code ignored;
      std::filesystem::remove_all(folder, ignored);
   }

   void write(std::string const & name, std::string const & text) const {
      std::ofstream{folder / name} << text;
   }
   // A program of that name, which the tracker finds first.
   void writeTool(std::string const & name, std::string const & output) const {
      write(name, "#!/bin/sh\ncat <<'END'\n" + output + "\nEND\n");
      std::filesystem::permissions(folder / name, std::filesystem::perms::owner_all);
   }
   void addDisk(char const * name, Disk::BusType busType, char const * blockDevice) const {
      devices->diskIs(name, EntityMib::StorageType::sataSsd, blockDevice, folder.c_str(), "Model", "1.0",
                      false, busType, "1", 240);
   }
   // Some turns of the loop. Virtual time stands still while a descriptor is readable.
   static void turn() {
      for (int i = 0; i < 10; ++i)
         Vorn::Host::turn(0);
   }
   static bool eventually(std::function<bool()> const & condition) {
      return Vorn::Host::runUntil(condition, Vorn::System::currentTime() + 600);
   }

   std::filesystem::path folder;
   std::vector<std::string> logged;
   Pelm::Ptr<FruConfig> fruConfig = Pelm::make<FruConfig>();
   Pelm::Ptr<PollInterval> pollInterval = Pelm::make<PollInterval>();
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices = Pelm::make<StorageDevices::ConnectedDevices>();
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
};

}  // namespace InstalledHost
