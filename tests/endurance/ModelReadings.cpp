// The model of the polls: what is read of each disk, and how the readings go.
#include <algorithm>
#include <cmath>

#include "tests/endurance/ModelAgent.h"

namespace Endurance {

namespace {

int zeroOr(bool empty, int value) {
   return empty ? 0 : value;
}

}  // namespace

void ModelReading::good(double now) {
   wasGood = true;
   ended = now;
   failures = 0;
   hangs = false;
}

void ModelReading::failed(double now, bool hung) {
   ended = now;
   ++failures;
   hangs = hung;
}

void Model::pollTools() {
   agent_->monitors = true;
   for (auto const & disk : agent_->disks)
      poll(*disk);
   agent_->pollClock.timer.at(agenda_.now() + world_.interval());
}

void Model::poll(ModelDisk & disk) {
   if (disk.smartctl)
      runTool(disk, *disk.smartctl, Tool::smartctl);
   if (disk.smartLog)
      runTool(disk, *disk.smartLog, Tool::smartLog);
   if (disk.place->kind == Kind::emmc)
      readRegisters(disk);
}

void Model::runTool(ModelDisk & disk, ModelTool & tool, Tool which) {
   if (std::exchange(tool.runs, true))
      return;
   PlaceState const & place = this->place(*disk.place);
   tool.act = place.act(which);
   tool.seen = place.health;
   tool.end.at(agenda_.now() + (tool.act == ToolAct::hangs ? toolLimit : toolSpan));
}

// A large report is read where there is memory for it.
bool Model::isReport(ModelTool const & tool) const {
   return tool.act == ToolAct::reports || (tool.act == ToolAct::swells && !world_.hasScarceMemory());
}

void Model::smartctlEnds(ModelDisk & disk) {
   ModelTool & tool = *disk.smartctl;
   tool.runs = false;
   if (!isReport(tool)) {
      tool.reading.failed(agenda_.now(), tool.act == ToolAct::hangs);
      return;
   }
   tool.reading.good(agenda_.now());
   disk.passed = tool.seen.passed;
   if (disk.place->kind != Kind::sata)
      return;
   auto const before = std::exchange(disk.attributes, tool.seen);
   auto const sensor = agent_->sensors.find(disk.serial);
   if (sensor != agent_->sensors.end() && (!before || before->temperature != tool.seen.temperature)) {
      sensor->second->threshold = before ? std::abs(tool.seen.temperature - before->temperature) : 20;
      sensor->second->reads(tool.seen.temperature, agenda_.now());
   }
   lifeIs(disk, tool.seen.lifeLeft);
}

void Model::smartLogEnds(ModelDisk & disk) {
   ModelTool & tool = *disk.smartLog;
   tool.runs = false;
   bool const empty = tool.act == ToolAct::printsEmpty;
   if (!isReport(tool) && !empty) {
      tool.reading.failed(agenda_.now(), tool.act == ToolAct::hangs);
      return;
   }
   tool.reading.good(agenda_.now());
   // A log without a figure reads as 0.
   Health seen = tool.seen;
   seen.temperature = zeroOr(empty, seen.temperature);
   seen.spare = zeroOr(empty, seen.spare);
   seen.mediaErrors = zeroOr(empty, seen.mediaErrors);
   seen.warning = zeroOr(empty, seen.warning);
   seen.lifeLeft = empty ? 100 : seen.lifeLeft;
   auto const before = std::exchange(disk.log, seen);
   auto const sensor = agent_->sensors.find(disk.serial);
   if (sensor != agent_->sensors.end() && (!before || before->temperature != seen.temperature))
      sensor->second->reads(seen.temperature, agenda_.now());
   lifeIs(disk, seen.lifeLeft);
}

void Model::readRegisters(ModelDisk & disk) {
   PlaceState const & place = this->place(*disk.place);
   bool const good =
       place.file("life_time") == FileState::good && place.file("pre_eol_info") == FileState::good;
   if (!good) {
      disk.registers.failed(agenda_.now(), false);
      return;
   }
   disk.registers.good(agenda_.now());
   disk.emmc = place.health;
}

void Model::pollStatistics() {
   for (auto const & disk : agent_->disks)
      readStatistics(*disk);
   agent_->statisticsClock.timer.at(agenda_.now() + world_.interval());
}

void Model::readStatistics(ModelDisk & disk) {
   PlaceState const & place = this->place(*disk.place);
   if (place.file("stat") != FileState::good) {
      disk.statistics.failed(agenda_.now(), false);
      return;
   }
   disk.statistics.good(agenda_.now());
   disk.bytesWritten = place.health.sectorsWritten * 512;
}

// ---- Sensors.

void ModelSensor::forget() {
   threshold = 20;
   lastGood.reset();
   unconfirmed.reset();
   silence.clear();
}

// A leap is believed when a second reading, or five minutes without another, confirm it.
void ModelSensor::reads(double degrees, double now) {
   constexpr double longSilence = 300;
   auto const near = [&](std::optional<double> const & other) {
      return other && std::abs(degrees - *other) <= threshold;
   };
   if (!lastGood || near(lastGood) || near(unconfirmed)) {
      lastGood = degrees;
      unconfirmed.reset();
      silence.clear();
      show(degrees);
   } else {
      unconfirmed = degrees;
      silence.at(now + longSilence);
   }
}

void ModelSensor::confirm() {
   lastGood = std::exchange(unconfirmed, std::nullopt);
   show(*lastGood);
}

void ModelSensor::show(double degrees) {
   constexpr double hysteresis = 2;
   bool const isCritical = degrees >= critical - (alarm == 2 ? hysteresis : 0);
   bool const isHot = degrees >= overheat - (alarm != 0 ? hysteresis : 0);
   alarm = isCritical ? 2 : isHot ? 1 : 0;
}

}  // namespace Endurance
