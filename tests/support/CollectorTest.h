// Collectors of a disk's identity, run with tools that are scripts of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "StorageDevices/DiskInfoCollectorSm.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/DiskFields.h"
#include "tests/support/FakeTool.h"
#include "tests/support/ProcessState.h"
#include "tests/support/RealTime.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace Support {

class CollectorTest : public VirtualTimeTest {
 protected:
   using Collector = Pelm::Ptr<StorageDevices::DiskInfoCollectorSm>;
   using Factory = Collector (*)(Pelm::Ptr<StorageDevices::ConnectedDisk const> const &,
                                 Pelm::Ptr<Brul::ChildProcessTrackerSm> const &);

   CollectorTest(Factory factory, std::string tool) : factory_{factory}, tool_{folder_, std::move(tool)} {
      tracker_->toolPathIs(folder_.string());
   }

   void toolDoes(std::string_view body) const { tool_.does(body); }
   void toolPrints(std::string_view output) const { tool_.prints(output); }
   std::string arguments() const { return tool_.words(); }

   void start() {
      collector_ = factory_(disk_.make(), tracker_);
      changes_ = std::make_unique<Changes>(collector_->finalDisk);
   }
   // Starts a collector and turns the loop until it has published. Answers its record.
   DiskFields collected() {
      start();
      EXPECT_TRUE(eventually([&] { return changes_->count() > 0; }));
      return result();
   }
   // The record, after the collector has finished everything.
   DiskFields result() {
      Vorn::Host::runFor(3600);
      EXPECT_EQ(changes_->count(), 1U) << "the collector must publish exactly once";
      return collector_->finalDisk() ? fieldsOf(*collector_->finalDisk()) : DiskFields{.name = "(none)"};
   }
   // Runs the tool; answers whether the disk was published before a trace. A subscriber cannot see that,
   // since it is notified after the collector's handler.
   bool publishesBeforeItTraces(std::string_view script) {
      drop();
      toolDoes(script);
      std::size_t lines = 0;
      bool late = false;
      Vorn::Host::traceSinkIs([&](Vorn::Host::TraceLine const &) {
         ++lines;
         late = late || collector_->finalDisk();
      });
      collected();
      Vorn::Host::traceSinkIs(nullptr);
      EXPECT_GT(lines, 0U);
      return late;
   }
   // Drops the last pointer to the collector.
   void drop() {
      changes_.reset();
      collector_ = nullptr;
   }
   // The constructor's disk with the collector's type.
   DiskFields unchanged() const {
      DiskFields disk = disk_;
      disk.mibType = collector_->mibType();
      return disk;
   }

   TempDir folder_;
   Factory factory_;
   FakeTool tool_;
   DiskFields disk_;
   TraceRecorder traces_{{"StorageDiskInfoCollectorSm", 7}};
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = Pelm::make<Brul::ChildProcessTrackerSm>();
   Collector collector_;

 private:
   using Changes = ChangeRecorder<decltype(StorageDevices::DiskInfoCollectorSm::finalDisk)>;
   std::unique_ptr<Changes> changes_;
};

}  // namespace Support
