// Monitors that poll a tool, run with a tool that is a script of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "StorageDevices/ConnectedDevices.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Vorn/ActivityManager.h"
#include "runtime/model/PollInterval.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/DiskFields.h"
#include "tests/support/FakeTool.h"
#include "tests/support/ProcessState.h"
#include "tests/support/RealTime.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace Support {

class ToolMonitorTest : public VirtualTimeTest {
 protected:
   ToolMonitorTest(std::string tool, char const * facility, DiskFields disk)
       : disk_{std::move(disk)}, traces_{{facility, 7}}, tool_{folder_, std::move(tool)} {
      tracker_->toolPathIs(folder_.string());
   }

   void toolDoes(std::string_view body) const { tool_.does(body); }
   void toolPrints(std::string_view output) const { tool_.prints(output); }
   std::vector<std::string> runs() const { return tool_.runs(); }

   void plug(DiskFields const & disk) const { disk.writeTo(*devices_); }
   void plug() const { plug(disk_); }
   void unplug() const { devices_->diskDel(disk_.name); }

   // One poll, its runs to their ends.
   void poll() const {
      interval_->intervalIs(interval_->interval() == 60.0 ? 61.0 : 60.0);
      EXPECT_TRUE(turnInRealTime([] { return Vorn::activityManager().outsideWork() == 0; }));
      Vorn::Host::turn();
   }

   // One poll, its run to its end without being filed.
   template <class Monitor, class Process>
   static void pollWithoutFiling(Monitor & monitor, Process const & process) {
      monitor.handleClock();
      monitor.vornDoZombieReactors(true);
      EXPECT_TRUE(turnInRealTime([&] { return process()->isOver(); }));
      monitor.vornDoZombieReactors(false);
   }

   TempDir folder_;
   DiskFields disk_;
   TraceRecorder traces_;
   Pelm::Ptr<PollInterval> interval_ = Pelm::make<PollInterval>();
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices_ = Pelm::make<StorageDevices::ConnectedDevices>();
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = Pelm::make<Brul::ChildProcessTrackerSm>();

 private:
   FakeTool tool_;
};

}  // namespace Support
