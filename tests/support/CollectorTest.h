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
#include "tests/support/ProcessState.h"
#include "tests/support/TempDir.h"
#include "tests/support/TraceRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace Support {

class CollectorTest : public VirtualTimeTest {
 protected:
   using Collector = Pelm::Ptr<StorageDevices::DiskInfoCollectorSm>;
   using Factory = Collector (*)(Pelm::Ptr<StorageDevices::ConnectedDisk const> const &,
                                 Pelm::Ptr<Brul::ChildProcessTrackerSm> const &);

   CollectorTest(Factory factory, std::string tool) : factory_{factory}, tool_{std::move(tool)} {
      tracker_->toolPathIs(folder_.string());
   }

   // The tool is a shell script; beside what it is told to do it notes its arguments, one a line.
   void toolDoes(std::string_view body) const {
      folder_.scriptIs(tool_, "for a in \"${0##*/}\" \"$@\"; do echo \"$a\"; done >>\"" +
                                  (folder_.path() / "arguments").string() + "\"\n" + std::string{body});
   }
   void toolPrints(std::string_view output) const {
      toolDoes("cat \"" + folder_.fileIs("output", output).string() + "\"");
   }
   std::string arguments() const { return folder_.content("arguments"); }

   void start() {
      collector_ = factory_(disk_.make(), tracker_);
      changes_ = std::make_unique<Changes>(collector_->finalDisk);
   }
   // Starts a collector and turns the loop until it has published; its record.
   DiskFields collected() {
      start();
      EXPECT_TRUE(eventually([&] { return changes_->count() > 0; }));
      return result();
   }
   // Whatever more the collector would do has been done.
   DiskFields result() {
      Host::runFor(3600);
      EXPECT_EQ(changes_->count(), 1U) << "the collector must publish exactly once";
      return collector_->finalDisk() ? fieldsOf(*collector_->finalDisk()) : DiskFields{.name = "(none)"};
   }
   // Runs the tool; whether the disk was published before something was traced. Whoever is notified of the
   // disk cannot tell, since that comes when the collector's handler is through.
   bool publishesBeforeItTraces(std::string_view script) {
      drop();
      toolDoes(script);
      std::size_t lines = 0;
      bool late = false;
      Host::traceSinkIs([&](Host::TraceLine const &) {
         ++lines;
         late = late || collector_->finalDisk();
      });
      collected();
      Host::traceSinkIs(nullptr);
      EXPECT_GT(lines, 0U);
      return late;
   }
   // Nobody holds the collector any longer.
   void drop() {
      changes_.reset();
      collector_ = nullptr;
   }
   // The disk as handed in, but for the type.
   DiskFields unchanged() const {
      DiskFields disk = disk_;
      disk.mibType = collector_->mibType();
      return disk;
   }

   TempDir folder_;
   Factory factory_;
   std::string tool_;
   DiskFields disk_;
   TraceRecorder traces_{{"StorageDiskInfoCollectorSm", 7}};
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = Pelm::make<Brul::ChildProcessTrackerSm>();
   Collector collector_;

 private:
   using Changes = ChangeRecorder<decltype(StorageDevices::DiskInfoCollectorSm::finalDisk)>;
   std::unique_ptr<Changes> changes_;
};

}  // namespace Support
