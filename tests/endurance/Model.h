// Predicts the messages and the verdicts of the unit, from the rules that the manual states. It uses nothing
// of what it is compared with.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/endurance/Agenda.h"
#include "tests/endurance/ModelFileSystem.h"
#include "tests/endurance/Observed.h"
#include "tests/endurance/World.h"

namespace Endurance {

// How the readings of one source go.
struct ModelReading {
   bool wasGood = false;
   std::optional<double> ended;
   int failures = 0;  // in a row
   bool hangs = false;

   void good(double now);
   void failed(double now, bool hung);
};

// A tool that reads a disk, poll by poll.
struct ModelTool {
   ModelTool(Agenda & agenda, std::function<void()> ends) : end(agenda, std::move(ends)) {}
   ModelReading reading;
   bool runs = false;
   ToolAct act = ToolAct::reports;  // of the run in flight
   Health seen;                     // when it began
   Timer end;
};

struct ModelLifetime {
   std::int64_t value = -1;
   double time = 0;
   std::uint64_t bytes = 0;
   bool dropped = false;
   unsigned past = 0;
};

// A connected disk.
struct ModelDisk {
   std::string serial;
   std::string node;
   std::string model;
   std::string firmware;
   Place const * place = nullptr;

   std::unique_ptr<ModelTool> smartctl;
   std::optional<bool> passed;
   std::optional<Health> attributes;  // of the latest table
   std::unique_ptr<ModelTool> smartLog;
   std::optional<Health> log;  // the latest one
   ModelReading registers;
   std::optional<Health> emmc;
   ModelReading statistics;
   std::optional<std::uint64_t> bytesWritten;
   ModelLifetime lifetime;
};

// A device that discovery is identifying.
struct ModelCollector {
   explicit ModelCollector(Agenda & agenda, std::function<void()> ends) : end(agenda, std::move(ends)) {}
   bool good = false;
   Timer end;
};

// A temperature sensor of the unit.
struct ModelSensor {
   explicit ModelSensor(Agenda & agenda) : silence(agenda, [this] { confirm(); }) {}
   void forget();  // its drive is gone
   void reads(double degrees, double now);
   void confirm();
   void show(double degrees);

   double threshold = 20;
   std::optional<double> lastGood;
   std::optional<double> unconfirmed;
   int alarm = 0;  // 1: overheat, 2: critical
   Timer silence;
};

// A device of which the kernel's errors are remembered.
struct ModelRecord {
   std::string serial;
   std::string node;
   std::string port;
   std::string kernel;
   std::string model;
   std::string firmware;
   bool removable = false;
   double logged = 0;  // UTC; 0: never
};

class Model : private ModelUnit {
 public:
   // The clocks stand there at the beginning.
   Model(double now, double utc);
   ~Model() override;

   void start();
   void advance(double time) { agenda_.runUntil(time); }
   double now() const { return agenda_.now(); }
   void apply(Event const & event);

   // Those since the last call.
   std::vector<Message> takeMessages() { return std::exchange(messages_, {}); }
   // To be called as often as the unit's verdicts are evaluated.
   Verdicts verdicts();

 private:
   // What the parts of the model ask of it.
   Agenda & agenda() override { return agenda_; }
   PlaceState const & place(Place const & which) const override { return world_.at(std::string{which.name}); }
   void log(std::string name, std::vector<std::string> arguments) override;
   std::vector<std::string> diskAt(Place const & which) const override;

   void appliedTo(PlaceState const & place, Event const & event);
   double utc() const { return utcAtZero_ + agenda_.now(); }

   // Discovery.
   void appears(PlaceState const & place);
   void disappears(PlaceState const & place);
   void insert(PlaceState const & place, bool identified);
   void maybeSettle();
   void settle();
   void checkMountSource(ModelDisk const & disk);
   ModelDisk * disk(std::string const & serial);

   // Polls.
   void pollTools();
   void poll(ModelDisk & disk);
   void runTool(ModelDisk & disk, ModelTool & tool, Tool which);
   bool isReport(ModelTool const & tool) const;
   void smartctlEnds(ModelDisk & disk);
   void smartLogEnds(ModelDisk & disk);
   void readRegisters(ModelDisk & disk);
   void pollStatistics();
   void readStatistics(ModelDisk & disk);
   void lifeIs(ModelDisk & disk, std::int64_t value);

   // The kernel's errors.
   void recordDisk(ModelDisk const & disk);
   void kernelLine(PlaceState const & place, std::string const & form);
   void checkClock();

   // Verdicts.
   std::string reasons(ModelDisk & disk);

   Agenda agenda_;
   double utcAtZero_;
   World world_;
   std::vector<Message> messages_;

   // Of the running agent; a restart loses them.
   struct Agent;
   std::unique_ptr<Agent> agent_;
};

}  // namespace Endurance
