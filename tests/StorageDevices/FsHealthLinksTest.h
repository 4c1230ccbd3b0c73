// A health test beside a file of somebody else's, which it must not touch.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace fs = std::filesystem;

class FsHealthLinksTest : public Support::VirtualTimeTest {
 protected:
   using Texts = std::vector<std::string>;

   FsHealthLinksTest() {
      Vorn::Host::turn();  // opens the descriptors of the loop itself
      before_ = Support::openDescriptors();
      fs::create_directory(elsewhere_);
      folder_.write("elsewhere/precious", precious_);
      fs::create_directory(mountPoint_);
      watch(mountPoint_);
   }

   void watch(fs::path const & mountPoint) {
      Support::DiskFields{.name = "S1", .mountPoint = mountPoint.string()}.writeTo(*devices_);
      machine_ = fsHealthSmFactory(mountPoint.c_str(), blockSize, devices_);
   }
   fs::path debug() const { return mountPoint_ / "debug"; }
   fs::path cookie() const { return debug() / "healthTestCookie"; }
   fs::path precious() const { return elsewhere_ / "precious"; }

   // Puts what `make` makes in the place of the file or the folder.
   template <class Make>
   static void replace(fs::path const & place, Make const & make) {
      fs::create_directories(place.parent_path());
      fs::remove_all(place);
      make(place);
   }
   void expectNothingTouched() const {
      EXPECT_EQ(Support::fileContent(precious()), precious_);
      Texts found;
      for (auto const & entry : fs::directory_iterator{elsewhere_})
         found.push_back(entry.path().filename());
      EXPECT_EQ(found, Texts{"precious"}) << "something was made elsewhere";
      EXPECT_EQ(Support::openDescriptors(), before_);
   }
   // The step that was refused is counted and traced; nobody is alarmed, and the next test comes.
   void expectRefused(std::string const & step, int error = ELOOP) const {
      EXPECT_EQ(traces_.errors(), Texts{step + " failed with " + std::strerror(error)});
      EXPECT_EQ(machine_->nonSyslogErrorCount(), 1U);
      EXPECT_EQ(logs_.texts(), Texts{});
      EXPECT_EQ(machine_->state(), FsHealthSmState{FsHealthSmState::idle});
      EXPECT_FALSE(machine_->readTestOk());
      expectNothingTouched();
   }
   void expectHealthy() const {
      EXPECT_TRUE(machine_->writeTestOk() && machine_->readTestOk());
      EXPECT_EQ(traces_.errors(), Texts{});
      EXPECT_EQ(logs_.texts(), Texts{});
      expectNothingTouched();
   }

   Support::TempDir folder_{Support::folderWithDirectIo()};
   fs::path elsewhere_ = folder_.path() / "elsewhere";
   fs::path mountPoint_ = folder_.path() / "mount";
   std::string precious_ = std::string(std::size_t{2} * blockSize, '#');
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"StorageFsHealthSm", 0}};
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<FsHealthSm> machine_;
   std::vector<int> before_;
};

}  // namespace StorageDevices
