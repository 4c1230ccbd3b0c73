#include "agent/verdict/FileSystemTests.h"

#include <cstring>

namespace Agent {

namespace {

using StorageDevices::FsHealthSm;
using State = StorageDevices::FsHealthSmState;

// The test reports a difference and counts the phase as done all the same.
bool isTheSame(FsHealthSm const & test) {
   auto const & written = test.cookieData();
   return written.size() != test.blkSize() ||
          std::memcmp(written.data(), test.alignedBlock(), written.size()) == 0;
}

}  // namespace

FileSystemTests::Result FileSystemTests::sample(StorageDevices::MountPtMonitorSm const & monitor,
                                                Pelm::String const & disk) {
   auto const & test = monitor.fsHealthSm();
   if (!test || !test->running()) {
      seen_.erase(monitor.mountPt());
      return Result::none;
   }
   Seen & seen = seen_.try_emplace(monitor.mountPt(), Seen{.disk = disk}).first->second;
   if (seen.disk != disk)
      seen = {disk, Result::none, true, test->syslogTriggered(), test->nonSyslogErrorCount()};
   if (test->state() == State::setup)
      return Result::noDirectory;
   if (test->state() != State::idle)
      seen.evaluated = false;
   else if (isOver(seen, *test))
      evaluate(seen, *test);
   return seen.result;
}

void FileSystemTests::diskDel(Pelm::String const & mountPoint) {
   if (auto const found = seen_.find(mountPoint); found != seen_.end())
      found->second.disk = Pelm::String{};
}

// Whether a test other than the evaluated one has ended; a test that cannot begin ends at once.
bool FileSystemTests::isOver(Seen const & seen, FsHealthSm const & test) {
   return !seen.evaluated || seen.failureLogged != test.syslogTriggered() ||
          seen.otherErrors != test.nonSyslogErrorCount();
}

void FileSystemTests::evaluate(Seen & seen, FsHealthSm const & test) {
   bool const failed = test.syslogTriggered() || test.nonSyslogErrorCount() != seen.otherErrors;
   seen.evaluated = true;
   seen.failureLogged = test.syslogTriggered();
   seen.otherErrors = test.nonSyslogErrorCount();
   if (test.writeTestOk() && test.readTestOk())
      seen.result = failed ? Result::notBegun : isTheSame(test) ? Result::good : Result::notTheSame;
   else
      seen.result = test.writeTestOk() ? Result::notRead : Result::notWritten;
}

}  // namespace Agent
