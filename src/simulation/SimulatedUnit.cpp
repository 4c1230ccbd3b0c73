#include "simulation/SimulatedUnit.h"

#include <algorithm>
#include <cstdlib>

#include "simulation/EventSockets.h"
#include "simulation/Testbed.h"
#include "simulation/TextFile.h"

namespace StorageDevices::Simulation {

class SimulatedUnit::State {
 public:
   State() : folder(testbed.folder() / "unit"), tools(folder / "tools"), sockets(testbed.folder()) {
      std::filesystem::create_directories(folder / "etc");
   }
   // The test bed's clean-up fails on foreign files.
   ~State() {
      std::error_code ignored;
      std::filesystem::remove_all(folder, ignored);
   }

   void diskIs(std::vector<DeviceRecord> records);
   void diskDel(std::string_view name);
   std::vector<DeviceRecord> const & disk(std::string_view name) const;
   void waitForRoom();

   Testbed testbed;
   std::filesystem::path folder;
   FakeTools tools;
   std::optional<FileSystems> fileSystems;
   EventSockets sockets;
   std::chrono::milliseconds patience{10000};
   std::function<void()> makeRoom;
   // Each disk with its parents, below before above.
   std::map<std::string, std::vector<DeviceRecord>, std::less<>> disks;
   unsigned sequence = 0;

 private:
   void clashChecked(DeviceRecord const & record) const;
   void use(DeviceRecord const & record);
   void release(DeviceRecord const & record);

   std::map<std::string, unsigned> users_;                  // disks per device path
   std::map<std::string, std::string, std::less<>> names_;  // subsystem/name to device path
};

// The links that umockdev makes by subsystem and name must be free.
void SimulatedUnit::State::clashChecked(DeviceRecord const & record) const {
   auto const place = names_.find(record.subsystem + "/" + std::string(record.name()));
   if (place != names_.end() && place->second != record.path)
      throw std::invalid_argument("the name of " + record.path + " is taken by " + place->second);
}

void SimulatedUnit::State::diskIs(std::vector<DeviceRecord> records) {
   std::string const name(records.front().name());
   if (disks.contains(name))
      throw std::invalid_argument("there is a disk " + name + " already");
   for (auto const & record : records)
      clashChecked(record);
   std::stable_sort(records.begin() + 1, records.end(),
                    [](auto const & a, auto const & b) { return a.path.size() > b.path.size(); });
   // umockdev sends an event for every device that it adds, parents too; the unit sends its own events
   // instead.
   EventSockets::Hidden const hidden(sockets);
   for (auto record = records.rbegin(); record != records.rend(); ++record) {
      try {
         use(*record);
      } catch (...) {
         while (record != records.rbegin())
            release(*--record);
         throw;
      }
   }
   disks.emplace(name, std::move(records));
}

void SimulatedUnit::State::diskDel(std::string_view name) {
   for (auto const & record : disk(name))
      release(record);
   disks.erase(disks.find(name));
}

void SimulatedUnit::State::use(DeviceRecord const & record) {
   auto & users = users_[record.path];
   if (users == 0)
      testbed.deviceIs(record);
   ++users;
   names_.insert_or_assign(record.subsystem + "/" + std::string(record.name()), record.path);
}

void SimulatedUnit::State::release(DeviceRecord const & record) {
   if (--users_[record.path] > 0)
      return;
   testbed.deviceDel(record);
   users_.erase(record.path);
   names_.erase(record.subsystem + "/" + std::string(record.name()));
}

std::vector<DeviceRecord> const & SimulatedUnit::State::disk(std::string_view name) const {
   auto const found = disks.find(name);
   if (found == disks.end())
      throw std::invalid_argument("there is no disk " + std::string(name));
   return found->second;
}

void SimulatedUnit::State::waitForRoom() {
   auto const deadline = std::chrono::steady_clock::now() + patience;
   while (!sockets.haveRoom(makeRoom ? std::chrono::milliseconds(0) : patience)) {
      if (std::chrono::steady_clock::now() >= deadline)
         throw ListenerStalled("a listener has not read its events for " + std::to_string(patience.count()) +
                               " ms");
      if (makeRoom)
         makeRoom();
   }
}

SimulatedUnit::SimulatedUnit() : state_(std::make_unique<State>()) {}

SimulatedUnit::~SimulatedUnit() = default;

std::map<std::string, std::string> SimulatedUnit::environment() const {
   char const * const preload = std::getenv("LD_PRELOAD");
   std::map<std::string, std::string> all{{"LD_PRELOAD", preload == nullptr ? "" : preload},
                                          {"UMOCKDEV_DIR", state_->testbed.folder()},
                                          {"SIMULATION_TOOL_DATA", state_->tools.data()}};
   if (state_->fileSystems)
      all.emplace("STORAGEDEVICES_SIMULATED_ROOT", state_->fileSystems->root());
   return all;
}

std::filesystem::path const & SimulatedUnit::folder() const {
   return state_->folder;
}

void SimulatedUnit::add(Disk const & disk) {
   state_->diskIs(deviceRecords(disk, ++state_->sequence));
}

void SimulatedUnit::addRecording(std::string_view recording) {
   state_->diskIs(deviceRecords(recording));
}

void SimulatedUnit::plug(Disk const & disk) {
   add(disk);
   announce(disk.name, "add");
}

void SimulatedUnit::unplug(std::string_view name) {
   announce(name, "remove");
   vanish(name);
}

void SimulatedUnit::vanish(std::string_view name) {
   state_->diskDel(name);
}

void SimulatedUnit::change(std::string_view name) {
   announce(name, "change");
}

void SimulatedUnit::announce(std::string_view name, std::string_view action) {
   auto const path = state_->disk(name).front().path;
   state_->waitForRoom();
   state_->testbed.event(path, action);
}

void SimulatedUnit::sectorsIs(std::string_view name, std::uint64_t sectors) {
   attributeIs(name, "size", std::to_string(sectors));
}

void SimulatedUnit::attributeIs(std::string_view name, std::string_view attribute, std::string_view value) {
   auto const path = sysFolder(name) / attribute;
   std::filesystem::create_directories(path.parent_path());
   textFileIs(path, std::string(value) + '\n');
}

void SimulatedUnit::attributeDel(std::string_view name, std::string_view attribute) {
   std::filesystem::remove(sysFolder(name) / attribute);
}

void SimulatedUnit::propertyIs(std::string_view name, std::string_view property, std::string_view value) {
   if (value.find('\n') != std::string_view::npos)
      throw std::invalid_argument("property " + std::string(property) + " holds a line feed");
   state_->testbed.propertyIs(state_->disk(name).front().path, property, value);
}

void SimulatedUnit::healthIs(Disk const & disk, DriveHealth const & health) {
   switch (disk.kind) {
      case Disk::Kind::sata:
         tools().outputIs(Tool::smartctl, disk.name, smartctlAtaReport(disk.name, health));
         break;
      case Disk::Kind::nvme:
         tools().outputIs(Tool::smartctl, disk.name, smartctlNvmeReport(disk.name, health));
         tools().outputIs(Tool::nvmeSmartLog, disk.name, nvmeSmartLog(health));
         break;
      case Disk::Kind::usb:
         tools().outputIs(Tool::smartctl, disk.name, smartctlScsiReport(disk.name, health));
         break;
      case Disk::Kind::mmc:
         attributeIs(disk.name, "device/life_time", emmcLifeTime(health));
         attributeIs(disk.name, "device/pre_eol_info", emmcPreEndOfLife(health));
         return;
      case Disk::Kind::other:
         return;
   }
   tools().exitCodeIs(Tool::smartctl, disk.name, smartctlExitCode(health));
}

void SimulatedUnit::trafficIs(std::string_view name, std::uint64_t bytesRead, std::uint64_t bytesWritten) {
   // Requests, merged ones, sectors and milliseconds of reads, the same of writes, and the remaining columns.
   std::string const read = std::to_string(bytesRead / sectorBytes);
   std::string const written = std::to_string(bytesWritten / sectorBytes);
   attributeIs(name, "stat", "51 0 " + read + " 20 64 0 " + written + " 31 0 20 51 0 0 0 0 0 0");
}

std::vector<std::string> SimulatedUnit::disks() const {
   std::vector<std::string> names;
   for (auto const & [name, records] : state_->disks)
      names.push_back(name);
   return names;
}

std::string SimulatedUnit::sysPath(std::string_view name) const {
   return "/sys" + state_->disk(name).front().path;
}

std::filesystem::path SimulatedUnit::sysFolder(std::string_view name) const {
   return state_->testbed.sysFolder(state_->disk(name).front().path);
}

std::size_t SimulatedUnit::listeners() const {
   return state_->sockets.live().size();
}

void SimulatedUnit::patienceIs(std::chrono::milliseconds patience) {
   state_->patience = patience;
}

void SimulatedUnit::whenFullIs(std::function<void()> makeRoom) {
   state_->makeRoom = std::move(makeRoom);
}

FakeTools & SimulatedUnit::tools() {
   return state_->tools;
}

FileSystems & SimulatedUnit::fileSystems() {
   if (!state_->fileSystems)
      state_->fileSystems.emplace(folder() / "root");
   return *state_->fileSystems;
}

std::filesystem::path SimulatedUnit::toolsPath() const {
   return state_->tools.path();
}

std::filesystem::path SimulatedUnit::etcFolder() const {
   return state_->folder / "etc";
}

void SimulatedUnit::blockdevIs(std::vector<std::pair<std::string, std::string>> const & entries) {
   std::string text;
   for (auto const & [pattern, mount] : entries)
      text.append(pattern).append(" ").append(mount).append("\n");
   etcFileIs("blockdev", text);
}

void SimulatedUnit::multidriveIs(std::vector<std::string> const & patterns) {
   std::string text;
   for (auto const & pattern : patterns)
      text.append(pattern).append("\n");
   etcFileIs("multidrive", text);
}

void SimulatedUnit::multidriveSrcIs(std::optional<std::string> const & pattern) {
   if (pattern)
      etcFileIs("multidrive_src", *pattern + "\n");
   else
      std::filesystem::remove(etcFolder() / "multidrive_src");
}

void SimulatedUnit::etcFileIs(std::string_view name, std::string_view text) {
   textFileIs(etcFolder() / name, text);
}

}  // namespace StorageDevices::Simulation
