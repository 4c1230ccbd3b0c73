// Runs the agent on a simulated unit, plays the story step by step and checks that the agent notices each
// step.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "demo/AgentCommands.h"
#include "demo/AgentConfig.h"
#include "demo/AgentProcess.h"
#include "demo/ApplianceState.h"
#include "demo/Display.h"
#include "demo/Options.h"
#include "demo/Signals.h"
#include "demo/Story.h"
#include "simulation/SimulatedUnit.h"

namespace Demo {

class Demo {
 public:
   // Makes the unit and starts the agent; throws std::runtime_error with one line when it cannot.
   Demo(Options const & options, Signals & signals, Display & display);
   // Stops the agent and removes the unit.
   ~Demo() = default;
   Demo(Demo const &) = delete;
   Demo & operator=(Demo const &) = delete;

   // Once, or until a signal comes. Ends early when the agent does.
   void play(bool repeat);

   // The result: a line, and one for each of the library's messages with how often it came.
   std::string summary() const;
   // The reason why the story failed, in one line. Empty if every step played was also seen, none was cut
   // short and every message came.
   std::string complaint() const;
   // A signal ended it and nothing was wrong until then.
   bool interrupted() const { return interrupted_ && failure_.empty(); }

 private:
   using Time = std::chrono::steady_clock::time_point;

   bool over() const { return interrupted_ || !failure_.empty(); }
   // Starts the agent, or restarts it.
   void boot();
   void playStep(Step const & step, std::string const & number);
   bool act(Step const & step);
   std::chrono::milliseconds deadline(Step const & step) const;
   // Samples until `reached` is true, the time is up or the demo is over. Returns whether `reached` was true.
   bool watch(Time until, std::function<bool(ApplianceState const &)> const & reached);
   // Waits for a signal or the agent's output, but not for long.
   void wait();
   void sample();
   void askState();
   void showTable(bool changed);
   void count(std::vector<Message> const & messages);
   std::size_t messagesMissing() const;

   Signals & signals_;
   Display & display_;
   StorageDevices::Simulation::SimulatedUnit unit_;
   AgentConfig config_;
   double timeScale_;
   std::filesystem::path program_;
   std::unique_ptr<AgentProcess> agent_;
   AgentCommands commands_;

   ApplianceState state_;
   std::set<std::string> disksSeen_;
   std::vector<std::string> catalogue_;  // all messages that can come; empty until the agent has answered
   std::map<std::string, unsigned> messages_;  // how often each came
   unsigned lastMessage_ = 0;                  // sequence number, of the agent that runs
   unsigned seen_ = 0;
   unsigned missed_ = 0;
   unsigned leftOut_ = 0;
   bool interrupted_ = false;
   std::string failure_;
   std::optional<TableForm> shownForm_;
   Time tableShown_{};
   Time start_ = std::chrono::steady_clock::now();
};

}  // namespace Demo
