// The result of the latest test of each file system. A test clears its flags when it begins, and a test that
// cannot begin leaves those of an earlier one. Here a result stays until the next test has ended.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "StorageDevices/MountPtMonitorSm.h"
#include "runtime/Pelm/String.h"

namespace Agent {

class FileSystemTests {
 public:
   enum class Result {
      none,         // there was no test yet, or the mount point is not tested
      good,         // written and read back
      noDirectory,  // the mount point is no directory
      notBegun,     // its file could not be prepared
      notWritten,
      notRead,
      notTheSame,  // the block read back differs from the one written
   };

   // Samples the mount point's test on that disk and answers the latest result. To be called at
   // least every five seconds: a test waits for longer than that between its phases.
   Result sample(StorageDevices::MountPtMonitorSm const & monitor, Pelm::String const & disk);

   // The disk at that mount point is gone: its results do not apply to the next one.
   void diskDel(Pelm::String const & mountPoint);

   // As of the latest sample.
   Result latest(Pelm::String const & mountPoint) const;
   // Tests there that failed, those of former disks included.
   std::uint64_t failures(Pelm::String const & mountPoint) const;

   // Whether a test with that result has written its block, and read the same back. Empty: it did not come to
   // that.
   static std::optional<bool> wrote(Result result);
   static std::optional<bool> readBack(Result result);

 private:
   struct Seen {
      Pelm::String disk;
      Result result = Result::none;
      bool evaluated = false;         // since the test last ended
      bool failureLogged = false;     // by the evaluated test
      std::uint64_t otherErrors = 0;  // that were only traced, up to the evaluation
   };

   struct OfMount {
      std::optional<Seen> seen;        // while its test runs
      std::uint64_t formerErrors = 0;  // that were only traced, before its test was started again
      Result latest = Result::none;
      std::uint64_t failures = 0;
   };

   static Result resultOf(OfMount & mount, StorageDevices::MountPtMonitorSm const & monitor,
                          Pelm::String const & disk);
   static bool isOver(Seen const & seen, StorageDevices::FsHealthSm const & test);
   static void evaluate(Seen & seen, StorageDevices::FsHealthSm const & test);

   std::map<Pelm::String, OfMount> mounts_;  // by mount point
};

}  // namespace Agent
