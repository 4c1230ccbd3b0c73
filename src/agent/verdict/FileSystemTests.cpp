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
   OfMount & mount = mounts_[monitor.mountPt()];
   bool const hadNoDirectory = mount.latest == Result::noDirectory;
   mount.latest = resultOf(mount, monitor, disk);
   if (mount.latest == Result::noDirectory && !hadNoDirectory)
      ++mount.failures;
   return mount.latest;
}

FileSystemTests::Result FileSystemTests::resultOf(OfMount & mount,
                                                  StorageDevices::MountPtMonitorSm const & monitor,
                                                  Pelm::String const & disk) {
   auto const & test = monitor.fsHealthSm();
   if (!test || !test->running()) {
      mount.seen.reset();
      mount.formerErrors = test ? test->nonSyslogErrorCount() : 0;
      return Result::none;
   }
   if (!mount.seen)
      mount.seen = Seen{.disk = disk, .otherErrors = mount.formerErrors};
   Seen & seen = *mount.seen;
   if (seen.disk != disk)
      seen = {disk, Result::none, true, test->syslogTriggered(), test->nonSyslogErrorCount()};
   if (test->state() == State::setup)
      return Result::noDirectory;
   if (test->state() != State::idle) {
      seen.evaluated = false;
   } else if (isOver(seen, *test)) {
      evaluate(seen, *test);
      mount.failures += seen.result == Result::good ? 0 : 1;
   }
   return seen.result;
}

void FileSystemTests::diskDel(Pelm::String const & mountPoint) {
   OfMount & mount = mounts_[mountPoint];
   mount.latest = Result::none;
   if (!mount.seen)
      mount.seen = Seen{};
   mount.seen->disk = Pelm::String{};
}

FileSystemTests::Result FileSystemTests::latest(Pelm::String const & mountPoint) const {
   auto const found = mounts_.find(mountPoint);
   return found == mounts_.end() ? Result::none : found->second.latest;
}

std::uint64_t FileSystemTests::failures(Pelm::String const & mountPoint) const {
   auto const found = mounts_.find(mountPoint);
   return found == mounts_.end() ? 0 : found->second.failures;
}

std::optional<bool> FileSystemTests::wrote(Result result) {
   if (result == Result::none)
      return std::nullopt;
   return result == Result::good || result == Result::notRead || result == Result::notTheSame;
}

std::optional<bool> FileSystemTests::readBack(Result result) {
   return wrote(result).value_or(false) ? std::optional{result == Result::good} : std::nullopt;
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
