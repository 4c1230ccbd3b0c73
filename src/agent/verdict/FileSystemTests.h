// How the latest test of each file system ended. The flags of a test are cleared when it begins, and a test
// that cannot even begin leaves those of an earlier one behind; here a result stays until the next test is
// over.
#pragma once

#include <cstdint>
#include <map>

#include "StorageDevices/MountPtMonitorSm.h"
#include "runtime/Pelm/String.h"

namespace Agent {

class FileSystemTests {
 public:
   enum class Result {
      none,         // there was no test yet, or the mount point is not tested
      good,         // written and read back
      noDirectory,  // the mount point is none
      notBegun,     // its file could not be prepared
      notWritten,
      notRead,
      notTheSame,  // what was read back is not what was written
   };

   // Of the mount point's tests on that disk. To be called once a second at least: a test waits for longer
   // than that between its phases.
   Result look(StorageDevices::MountPtMonitorSm const & monitor, Pelm::String const & disk);

   // The disk at that mount point went: how its tests ended is not another one's fault.
   void diskDel(Pelm::String const & mountPoint);

 private:
   struct Seen {
      Pelm::String disk;
      Result result = Result::none;
      bool judged = false;            // since the test was last over
      bool failureLogged = false;     // by the test that was judged
      std::uint64_t otherErrors = 0;  // that were only traced, until then
   };

   static bool isOver(Seen const & seen, StorageDevices::FsHealthSm const & test);
   static void judge(Seen & seen, StorageDevices::FsHealthSm const & test);

   std::map<Pelm::String, Seen> seen_;  // by mount point
};

}  // namespace Agent
