#include "tests/endurance/ModelFileSystem.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace Endurance {

namespace {

constexpr double checkInterval = 300;
constexpr double holdOff = 86400;
constexpr double testDelay = 300;
constexpr double spaceInterval = 120;
constexpr int fullPercent = 85;

}  // namespace

ModelFileSystem::ModelFileSystem(ModelUnit & unit, Place const & place)
    : unit_{unit},
      place_{place},
      checkClock_{unit.agenda(), [this] { check(); }},
      testClock_{unit.agenda(), [this] { testClock(); }},
      spaceClock_{unit.agenda(), [this] { checkSpace(); }} {
   checkClock_.at(unit.agenda().now());
}

// ---- The mount point.

void ModelFileSystem::check() {
   PlaceState const & place = unit_.place(place_);
   if (place.mount == MountState::gone) {
      if (grace_ == 0) {
         error("not mounted");
         return;
      }
      --grace_;
   } else {
      grace_ = 0;
      std::string const device = place.mount == MountState::other ? "other" : "own";
      if (device_.empty())
         device_ = device;
      if (place.mount == MountState::readOnly) {
         error("mount point is read-only");
         return;
      }
      if (device_ != device) {
         error("device was disconnected and changed");
         return;
      }
      if (!made_) {
         made_ = true;
         spaceClock_.at(unit_.agenda().now() + spaceInterval);
      }
      if (!running_)
         start();
   }
   checkClock_.at(unit_.agenda().now() + checkInterval);
}

void ModelFileSystem::error(std::string const & text) {
   logged("mountPtCheck", text);
   if (running_)
      stop();
   checkClock_.at(unit_.agenda().now() + holdOff);
}

void ModelFileSystem::logged(std::string const & operation, std::string const & text) {
   auto arguments = unit_.diskAt(place_);
   arguments.insert(arguments.begin(), operation);
   arguments.push_back(text);
   unit_.log("STORAGEDEVICE_MONITOR_ERROR", std::move(arguments));
}

// ---- The test of the file system.

void ModelFileSystem::enter(State state) {
   ++course_;
   state_ = state;
   open_ = false;
}

void ModelFileSystem::start() {
   running_ = true;
   setup();
}

void ModelFileSystem::stop() {
   running_ = false;
   enter(State::stopped);
   testClock_.clear();
}

void ModelFileSystem::setup() {
   enter(State::setup);
   testClock_.clear();
   if (!unit_.place(place_).folder) {
      logged("setupTest - exists", "not a directory or doesn't exist");
      return;
   }
   enter(State::write);
   testClock_.at(unit_.agenda().now() + testDelay);
}

void ModelFileSystem::testClock() {
   switch (state_) {
      case State::write:
         if (open_)
            hung("writeTest");
         else if (call("writeTest", "open"))
            enterAfterwards(&ModelFileSystem::write);
         break;
      case State::read:
         if (open_)
            hung("readTest");
         else if (call("readTest", "open"))
            enterAfterwards(&ModelFileSystem::read);
         break;
      default:
         setup();
   }
}

// The file is open; what follows does so once its descriptor is ready.
void ModelFileSystem::enterAfterwards(void (ModelFileSystem::*act)()) {
   open_ = true;
   testClock_.at(unit_.agenda().now() + testDelay);
   unit_.agenda().afterwards([this, act, course = course_] {
      if (course == course_)
         (this->*act)();
   });
}

void ModelFileSystem::write() {
   if (!call("writeTest", "lseek") || !call("writeTest", "write"))
      return;
   IoFault const & io = unit_.place(place_).io;
   good_ = !(io.call == "lies" && !io.readLies);
   if (!call("writeTest", "fsync") || !call("writeTest", "close"))
      return;
   enter(State::read);
   testClock_.at(unit_.agenda().now() + testDelay);
}

void ModelFileSystem::read() {
   if (!call("readTest", "lseek") || !call("readTest", "read"))
      return;
   IoFault const & io = unit_.place(place_).io;
   bool const same = good_ && !(io.call == "lies" && io.readLies);
   if (!same)
      logged("readTest - read", "data doesn't match");
   if (call("readTest", "close"))
      ends(same ? Result::good : Result::notRead, false);
}

bool ModelFileSystem::call(std::string const & phase, std::string const & name) {
   IoFault const & io = unit_.place(place_).io;
   if (io.call != name)
      return true;
   if (io.error == EAGAIN) {
      if (!open_)
         testClock_.at(unit_.agenda().now() + testDelay);
      return false;
   }
   constexpr std::array reported{EPERM, ENOENT, EIO, EACCES, EBUSY, ENOSPC, EDQUOT};
   bool const isReported = std::find(reported.begin(), reported.end(), io.error) != reported.end();
   if (isReported)
      logged(phase + " - " + name, std::strerror(io.error));
   ends(phase == "writeTest" ? Result::notWritten : Result::notRead, isReported);
   return false;
}

void ModelFileSystem::hung(std::string const & phase) {
   logged(phase, "fd is hung");
   ends(phase == "writeTest" ? Result::notWritten : Result::notRead, true);
}

void ModelFileSystem::ends(Result result, bool pause) {
   enter(State::idle);
   ++ended_;
   latest_ = result;
   testClock_.at(unit_.agenda().now() + (pause ? holdOff : testDelay));
}

void ModelFileSystem::checkSpace() {
   int const percent = unit_.place(place_).usedPercent;
   if (percent != -1) {
      bool const isFull = percent > fullPercent;
      if (isFull && !full_) {
         auto arguments = unit_.diskAt(place_);
         arguments.emplace_back("has exceeded 85 percent");
         unit_.log("STORAGEDEVICE_MONITOR_WARNING", std::move(arguments));
      }
      full_ = isFull;
   }
   spaceClock_.at(unit_.agenda().now() + spaceInterval);
}

// ---- What is wrong.

std::string ModelFileSystem::mountFault() const {
   if (grace_ > 0 || (made_ && running_))
      return {};
   switch (unit_.place(place_).mount) {
      case MountState::gone:
         return "mount-gone";
      case MountState::readOnly:
         return "mounted-read-only";
      case MountState::good:
         return device_ == "other" ? "mount-changed" : "";
      case MountState::other:
         return device_ == "own" ? "mount-changed" : "";
   }
   return {};
}

void ModelFileSystem::diskIsGone() {
   if (seenDisk_)
      seenDisk_ = "";
}

std::vector<std::string> ModelFileSystem::reasons(std::string const & serial) {
   std::vector<std::string> found;
   bool noFolder = false;
   if (!made_ || !running_) {
      seenDisk_.reset();
   } else {
      if (seenDisk_ != serial) {
         // A test that was under way does not count for a disk that came meanwhile.
         seenEnded_ = ended_;
         seen_ = Result::none;
         seenDisk_ = serial;
      }
      noFolder = state_ == State::setup;
      if (state_ == State::idle && seenEnded_ != ended_) {
         seenEnded_ = ended_;
         seen_ = latest_;
      }
      if (noFolder || seen_ == Result::notWritten)
         found.emplace_back("write-test-failed");
      else if (seen_ == Result::notRead)
         found.emplace_back("read-test-failed");
   }
   if (full_)
      found.emplace_back("file-system-full");
   if (auto const fault = mountFault(); !fault.empty())
      found.push_back(fault);
   return found;
}

}  // namespace Endurance
