#include "agent/SimulatedRoot.h"

#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string_view>
#include <utility>

#include "runtime/model/MountTable.h"

namespace Agent {

namespace {

using StorageDevices::FsHealthIoOps;

struct Result {
   std::string_view name;
   void (FsHealthIoOps::*valueIs)(std::int32_t);
};

constexpr Result results[] = {
    {"openRet", &FsHealthIoOps::openRetIs},       {"openErrno", &FsHealthIoOps::openErrnoIs},
    {"lseekRet", &FsHealthIoOps::lseekRetIs},     {"lseekErrno", &FsHealthIoOps::lseekErrnoIs},
    {"readRet", &FsHealthIoOps::readRetIs},       {"readErrno", &FsHealthIoOps::readErrnoIs},
    {"writeRet", &FsHealthIoOps::writeRetIs},     {"writeErrno", &FsHealthIoOps::writeErrnoIs},
    {"fsyncRet", &FsHealthIoOps::fsyncRetIs},     {"fsyncErrno", &FsHealthIoOps::fsyncErrnoIs},
    {"closeRet", &FsHealthIoOps::closeRetIs},     {"closeErrno", &FsHealthIoOps::closeErrnoIs},
    {"utilChkRet", &FsHealthIoOps::utilChkRetIs},
};

std::map<std::string, std::int32_t, std::less<>> valuesOf(std::string const & mountPoint,
                                                          std::string const & text) {
   std::map<std::string, std::int32_t, std::less<>> values;
   std::istringstream lines{text};
   for (std::string line; std::getline(lines, line);) {
      std::istringstream words{line};
      std::string at;
      std::string name;
      std::int32_t value = 0;
      if (words >> at >> name >> value && at == mountPoint)
         values[name] = value;
   }
   return values;
}

std::string content(std::string const & path) {
   std::ifstream file{path};
   return {std::istreambuf_iterator<char>{file}, {}};
}

}  // namespace

SimulatedRoot::SimulatedRoot(std::string folder)
    : folder_{std::move(folder)}, clock_{*this, Vorn::Seconds::infinity()} {
   StorageDevices::Mounts::rootIs(folder_);
}

SimulatedRoot::~SimulatedRoot() {
   StorageDevices::Mounts::rootIs("");
}

void SimulatedRoot::mountPointsIs(Pelm::Ptr<StorageDevices::MountPtMonitorManagerSm> mountPoints) {
   mountPoints_ = std::move(mountPoints);
   clock_.timeMinIs(Vorn::System::currentTime());
}

void SimulatedRoot::handleClock() {
   clock_.timeMinIs(Vorn::System::currentTime() + interval);
   if (!mountPoints_)
      return;
   std::string const text = content(folder_ + "/io-results");
   for (auto const & [mountPoint, monitor] : mountPoints_->mountPtMonitorSm)
      if (auto const & test = monitor->fsHealthSm())
         ioResultsAre(*test->ioOps(), mountPoint.str(), text);
}

void ioResultsAre(FsHealthIoOps & operations, std::string const & mountPoint, std::string const & text) {
   auto const values = valuesOf(mountPoint, text);
   for (Result const & result : results) {
      auto const value = values.find(result.name);
      (operations.*result.valueIs)(value == values.end() ? 0 : value->second);
   }
}

}  // namespace Agent
