#include "tests/endurance/Model.h"

#include <algorithm>
#include <charconv>

#include "tests/endurance/ModelAgent.h"

namespace Endurance {

namespace {

constexpr double clockInterval = 60;
constexpr double day = 86400;
constexpr double patience = 60;

bool isUsb(Place const & place) {
   return place.kind == Kind::fixedUsb || place.kind == Kind::stick;
}

// By which the kernel names its port.
std::string portOf(PlaceState const & place) {
   if (place.place->kind == Kind::nvme)
      return place.kernel();
   if (place.place->kind == Kind::emmc)
      return "mmc" + place.kernel().substr(6);
   return std::string{place.place->port};
}

std::string shortest(double value) {
   char text[32];
   return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

}  // namespace

Model::Model(double now, double utc) : agenda_{now}, utcAtZero_{utc - now} {}
Model::~Model() = default;

void Model::log(std::string name, std::vector<std::string> arguments) {
   messages_.push_back({agenda_.now(), std::move(name), std::move(arguments)});
}

std::vector<std::string> Model::diskAt(Place const & which) const {
   for (auto const & disk : agent_->disks)
      if (disk->place->mount == which.mount)
         return {"/mnt/" + std::string{which.mount}, disk->serial, disk->model, disk->firmware};
   return {"", "", "", ""};
}

ModelDisk * Model::disk(std::string const & serial) {
   for (auto const & disk : agent_->disks)
      if (disk->serial == serial)
         return disk.get();
   return nullptr;
}

// ---- Start and events.

void Model::start() {
   agent_ = std::make_unique<Agent>(agenda_, world_);
   Agent & agent = *agent_;
   for (PlaceState const & place : world_.all())
      if (place.present)
         appears(place);
   agent.pollClock.act = [this] { pollTools(); };
   agent.statisticsClock.act = [this] { pollStatistics(); };
   agent.pollClock.timer.at(0);
   agent.statisticsClock.timer.at(agenda_.now() + world_.interval());
   agent.lead = utc() - agenda_.now();
   agent.clockWatch.act = [this] {
      checkClock();
      agent_->clockWatch.timer.at(agenda_.now() + clockInterval);
   };
   agent.clockWatch.timer.at(agenda_.now() + clockInterval);
   agent.settle.act = [this] { settle(); };
   agent.settle.timer.at(agenda_.now() + patience);
   agent.waits = true;
   maybeSettle();
   agenda_.runUntil(agenda_.now());
}

void Model::apply(Event const & event) {
   bool const changes = world_.apply(event);
   if (event.word == "clock") {
      utcAtZero_ += static_cast<double>(event.number);
   } else if (event.word == "sleep") {
      agenda_.jump(static_cast<double>(event.number));
   } else if (event.word == "restart") {
      start();
   } else if (event.word == "forget") {
      std::erase_if(agent_->records, [this](ModelRecord const & record) { return !disk(record.serial); });
      agent_->gone.clear();
   } else if (event.word == "interval") {
      if (changes) {
         pollTools();
         pollStatistics();
      }
   } else if (changes && event.place != "-") {
      appliedTo(world_.at(event.place), event);
   }
   agenda_.runUntil(agenda_.now());
}

void Model::appliedTo(PlaceState const & place, Event const & event) {
   if (event.word.starts_with("plug") || event.word == "change")
      appears(place);
   else if (event.word == "pull")
      disappears(place);
   else if (event.word == "kernel")
      kernelLine(place, event.detail);
}

// ---- Discovery.

void Model::appears(PlaceState const & place) {
   Place const * const where = place.place;
   agent_->collectors.erase(where->name);
   bool const byTool = where->kind == Kind::sata || where->kind == Kind::nvme;
   if (!byTool) {
      insert(place, true);
      return;
   }
   auto collector = std::make_unique<ModelCollector>(agenda_, [this, where] {
      auto const ended = agent_->collectors.extract(where->name);
      insert(this->place(*where), ended.mapped()->good);
      maybeSettle();
   });
   ToolAct const act = place.act(Tool::identify);
   collector->good = act == ToolAct::reports;
   collector->end.at(agenda_.now() + (act == ToolAct::hangs ? toolLimit : toolSpan));
   agent_->collectors.emplace(where->name, std::move(collector));
}

void Model::insert(PlaceState const & place, bool identified) {
   auto disk = std::make_unique<ModelDisk>();
   std::string const udev = udevSerial(*place.place, place.number);
   disk->place = place.place;
   disk->node = place.node();
   disk->serial = place.place->kind == Kind::emmc ? udev.substr(2) : udev;
   switch (place.place->kind) {
      case Kind::sata:
         disk->model = identified ? "Kestrel S2" : "Kestrel_S2";
         disk->firmware = identified ? "KF2.4" : "1.0";
         break;
      case Kind::nvme:
         disk->model = "Marlin N7";
         disk->firmware = identified ? "ML1.0" : "1.0";
         break;
      case Kind::emmc:
         disk->model = "0x9b OSPREY";
         disk->firmware = "2.1";
         break;
      case Kind::fixedUsb:
         disk->model = "Wren_Internal_Flash";
         disk->firmware = "1.00";
         break;
      case Kind::stick:
         disk->model = "Pocket_Stick";
         disk->firmware = "1.00";
         break;
   }
   // Model and firmware alone are no change.
   if (this->disk(disk->serial))
      return;
   agent_->gone.erase(disk->serial);
   ModelDisk & added = *agent_->disks.emplace_back(std::move(disk));
   recordDisk(added);
   readStatistics(added);
   if (added.place->kind != Kind::emmc)
      added.smartctl = std::make_unique<ModelTool>(agenda_, [this, &added] { smartctlEnds(added); });
   if (added.place->kind == Kind::nvme)
      added.smartLog = std::make_unique<ModelTool>(agenda_, [this, &added] { smartLogEnds(added); });
   if (!added.place->fixed && agent_->monitors)
      poll(added);
}

void Model::disappears(PlaceState const & place) {
   agent_->collectors.erase(place.place->name);
   maybeSettle();
   auto const found = std::find_if(agent_->disks.begin(), agent_->disks.end(),
                                   [&](auto const & disk) { return disk->place == place.place; });
   if (found == agent_->disks.end())
      return;
   auto const disk = std::move(*found);
   agent_->disks.erase(found);
   if (disk->place->fixed) {
      agent_->gone.insert(disk->serial);
      if (agent_->settled)
         log("STORAGEDEVICE_OFFLINE", {disk->serial});
   }
   if (auto const sensor = agent_->sensors.find(disk->serial); sensor != agent_->sensors.end())
      sensor->second->forget();
   if (!disk->place->fixed)
      std::erase_if(agent_->records,
                    [&](ModelRecord const & record) { return record.serial == disk->serial; });
}

void Model::maybeSettle() {
   if (agent_->waits && !agent_->settled && (agent_->ready || agent_->collectors.empty())) {
      agent_->ready = true;
      agent_->settle.timer.at(agenda_.now());
   }
}

void Model::settle() {
   agent_->settled = true;
   for (Place const & place : places)
      if (place.fixed && diskAt(place).at(1).empty())
         log("STORAGEDEVICE_DETECTION_ERROR", {"/mnt/" + std::string{place.mount}});
   for (auto const & disk : agent_->disks)
      checkMountSource(*disk);
   ModelUnit & unit = *this;
   for (auto const & disk : agent_->disks)
      if (disk->place->fixed)
         agent_->fileSystems.emplace(disk->place->name,
                                     std::make_unique<ModelFileSystem>(unit, *disk->place));
}

void Model::checkMountSource(ModelDisk const & disk) {
   std::string const mountPoint = "/mnt/" + std::string{disk.place->mount};
   switch (place(*disk.place).file("mount-source")) {
      case FileState::good:
      case FileState::missing:
         break;
      case FileState::noise:  // nothing but a device-mapper node
         log("STORAGEDEVICE_PARTITION_NOT_MOUNTED", {disk.node, mountPoint});
         break;
      case FileState::other:
         log("STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED", {"/dev/other1", mountPoint, disk.node});
         break;
   }
}

// ---- The kernel's errors.

void Model::recordDisk(ModelDisk const & disk) {
   PlaceState const & place = this->place(*disk.place);
   auto const known = std::find_if(agent_->records.begin(), agent_->records.end(),
                                   [&](ModelRecord const & record) { return record.serial == disk.serial; });
   if (known != agent_->records.end()) {
      known->kernel = place.kernel();
      known->firmware = disk.firmware;
      return;
   }
   agent_->records.push_back({disk.serial, disk.node, portOf(place), place.kernel(), disk.model,
                              disk.firmware, !disk.place->fixed, 0});
}

void Model::kernelLine(PlaceState const & place, std::string const & form) {
   checkClock();
   bool const byPort = form == "port";
   bool const lettersAlone = !isUsb(*place.place) && place.place->kind != Kind::sata;
   if (form == "nonsense" || form == "partition" || (form == "sense" && lettersAlone))
      return;
   if (byPort && place.place->kind == Kind::nvme)
      return;
   std::string const name = byPort ? std::string{place.place->port} : place.kernel();
   ModelRecord * named = nullptr;
   for (ModelRecord & record : agent_->records) {
      if (record.port != name && record.kernel != name)
         continue;
      bool const connected = disk(record.serial) != nullptr;
      if (!named || connected)
         named = &record;
      if (connected)
         break;
   }
   if (!named || (named->logged != 0 && utc() - named->logged <= day))
      return;
   named->logged = utc();
   log(named->removable ? "STORAGEDEVICE_IO_ERROR_EXTERNAL_USB" : "STORAGEDEVICE_IO_ERROR",
       {named->node, named->serial, named->model, named->firmware});
}

// A clock that was set back would hold messages back until it is where it was.
void Model::checkClock() {
   constexpr double tolerance = 1;
   double const lead = utc() - agenda_.now();
   if (std::exchange(agent_->lead, lead) - lead <= tolerance)
      return;
   for (ModelRecord & record : agent_->records)
      if (record.logged > utc())
         record.logged = 0;
}

// ---- Life.

void Model::lifeIs(ModelDisk & disk, std::int64_t value) {
   constexpr double unitsPerSecond = 1 / (30 * day);
   ModelLifetime & life = disk.lifetime;
   if (value == life.value)
      return;
   ModelLifetime const before = life;
   life.value = value;
   life.time = agenda_.now();
   life.bytes = disk.bytesWritten.value_or(0);
   if (before.value == -1)
      return;
   life.dropped = true;
   if (!before.dropped)
      return;
   double const span = life.time - before.time;
   if (static_cast<double>(before.value - value) / span <= unitsPerSecond)
      return;
   std::uint64_t const bytes = life.bytes > before.bytes ? life.bytes - before.bytes : 0;
   bool const warns = life.past > 9 || value < 30;
   log(warns ? "STORAGEDEVICE_LIFETIME_WARNING" : "STORAGEDEVICE_LIFETIME_INFO",
       {"/mnt/" + std::string{disk.place->mount}, disk.serial, disk.model, disk.firmware,
        std::to_string(bytes >> 30U), shortest(span / 60 / 60 / 24)});
   life.past = (life.past + 1) % 256;
}

}  // namespace Endurance
