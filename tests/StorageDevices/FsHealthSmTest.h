// A health test of a file system, in a folder that stands for its mount point.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "StorageDevices/Factories.h"
#include "StorageDevices/FsHealthSm.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/DiskFields.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/MountPoint.h"
#include "tests/support/ProcessState.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/Units.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

class FsHealthSmTest : public Support::VirtualTimeTest {
 protected:
   using Texts = std::vector<std::string>;
   using State = FsHealthSmState;

   FsHealthSmTest() {
      Vorn::Host::turn();  // opens the descriptors of the loop itself, whichever test is the first
      Support::DiskFields{.name = "S1", .mountPoint = folder_.string()}.writeTo(*devices_);
      machine_ = fsHealthSmFactory(folder_.string().c_str(), blockSize, devices_);
   }

   FsHealthIoOps & ops() const { return *machine_->ioOps(); }
   std::string state() const { return machine_->state().stringValue().str(); }
   std::filesystem::path cookie() const { return folder_.path() / "debug/healthTestCookie"; }
   // Starts a test and lets it come to a phase in which the file is open and ready.
   void reach(State::Value phase) {
      machine_->start();
      Vorn::Host::runFor(phase == State::writeTest ? 299 : 599);
   }
   // The names and messages of what was logged: "writeTest - open: No such file or directory".
   Texts logged() const {
      Texts result;
      for (auto const & message : logs_.messages())
         result.push_back(message.arguments.size() == 6 ? message.arguments[0] + ": " + message.arguments[5]
                                                        : message.name + ": " + message.arguments[4]);
      return result;
   }
   // Starts a test and keeps its file open in a phase, as one that is never ready: every seek is to be tried
   // again.
   int holdOpen(State::Value phase) {
      auto const before = Support::openDescriptors();
      reach(phase);
      ops().lseekRetIs(-1);
      ops().lseekErrnoIs(EAGAIN);
      Vorn::Host::runFor(2);
      for (int const fd : Support::openDescriptors())
         if (std::find(before.begin(), before.end(), fd) == before.end())
            return fd;
      return -1;
   }
   // Seconds until the test clock rings; -1: never.
   double nextTest() const {
      Vorn::Seconds const at = machine_->testClock()->timeMin();
      return at == Vorn::Seconds::infinity() ? -1 : (at - Vorn::System::currentTime()).value();
   }

   Support::TempDir folder_{Support::folderWithDirectIo()};
   Support::LogRecorder logs_;
   Support::TraceRecorder traces_{{"StorageFsHealthSm", 7}};
   Pelm::Ptr<ConnectedDevices> devices_ = Pelm::make<ConnectedDevices>();
   Pelm::Ptr<FsHealthSm> machine_;
};

}  // namespace StorageDevices
