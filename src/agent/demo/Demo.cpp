#include "agent/demo/Demo.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "agent/StatusClient.h"

namespace Agent::Demo {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds lookEvery(100);
constexpr StatusLimits answerLimits{std::size_t{8} << 20U, std::chrono::milliseconds(500)};

std::string seconds(Clock::duration time) {
   std::array<char, 32> text{};
   std::snprintf(text.data(), text.size(), "%.1f s", std::chrono::duration<double>(time).count());
   return text.data();
}

Simulation::SimulatedUnit & booted(Simulation::SimulatedUnit & unit) {
   unit.patienceIs(std::chrono::seconds(3));
   bootUnit(unit);
   return unit;
}

}  // namespace

Demo::Demo(Options const & options, Signals & signals, Display & display)
    : signals_(signals),
      display_(display),
      config_(writeAgentConfig(booted(unit_), options)),
      agent_(options.agent.empty() ? findAgent() : std::filesystem::path(options.agent),
             {"agent", "--config", config_.file.string()}, unit_.environment()) {
   unit_.whenFullIs([this] {
      wait();
      if (interrupted_)
         throw Simulation::ListenerStalled("interrupted");
   });
}

void Demo::play(bool repeat) {
   auto const & steps = story();
   do {
      // What is told later builds on what was told before: a step not seen ends a story that is told once.
      for (std::size_t i = 0; i < steps.size() && !over() && (repeat || missed_ == 0); ++i)
         playStep(steps[i], std::to_string(i + 1) + "/" + std::to_string(steps.size()) + "  ");
   } while (repeat && !over());
}

void Demo::playStep(Step const & step, std::string const & number) {
   display_.storyIs(number + step.text);
   auto const start = Clock::now();
   if (!act(step))
      return;
   bool const reached = watch(start + step.deadline, step.reached);
   if (over())
      return;
   ++(reached ? seen_ : missed_);
   display_.verdictIs(reached ? "seen after " + seconds(Clock::now() - start)
                              : "NOT SEEN within " + seconds(step.deadline));
   watch(Clock::now() + display_.pause(), [](ApplianceState const &) { return false; });
}

bool Demo::act(Step const & step) {
   try {
      step.act(unit_);
   } catch (Simulation::ListenerStalled const & error) {
      if (!interrupted_)
         failure_ = std::string("the agent does not read its events: ") + error.what();
   }
   return !over();
}

bool Demo::watch(Time until, std::function<bool(ApplianceState const &)> const & reached) {
   while (!over()) {
      if (reached(state_))
         return true;
      if (Clock::now() >= until)
         return false;
      look();
   }
   return false;
}

void Demo::wait() {
   std::array<pollfd, 2> entries{
       {{signals_.descriptor(), POLLIN, 0}, {agent_.outputDescriptor(), POLLIN, 0}}};
   poll(entries.data(), entries.size(), static_cast<int>(lookEvery.count()));
   for (auto const & line : agent_.lines())
      display_.agentLine(line);
   interrupted_ = signals_.raised();
   if (std::ferror(stdout) != 0)
      failure_ = "nobody reads standard output any more";
}

void Demo::look() {
   wait();
   if (over())
      return;
   if (!agent_.running())
      failure_ = "the agent ended by itself: " + agent_.stop();
   else
      askState();
}

// An agent that does not answer leaves the state as it was; the step's deadline decides.
void Demo::askState() {
   std::string document;
   std::string messages;
   try {
      document = askAgent(config_.statusSocket, "/api/v1/state?history=1", answerLimits);
      messages = askAgent(config_.statusSocket, "/api/v1/messages", answerLimits);
   } catch (StatusError const &) {
      if (document.empty())
         return;
   }
   auto now = parseState(document);
   for (auto const & line : differences(state_, now))
      display_.difference(line);
   for (auto const & [serial, disk] : now.disks)
      disksSeen_.insert(serial);
   state_ = std::move(now);
   display_.stateIs(document, messages);
}

std::string Demo::summary() const {
   auto const told = std::max<std::size_t>(story().size(), seen_ + missed_);
   auto text = std::to_string(disksSeen_.size()) + " disks, " + std::to_string(seen_) + " of " +
               std::to_string(told) + " steps seen in " + seconds(Clock::now() - start_);
   if (!failure_.empty())
      return text + "; ended because " + failure_;
   return text + (interrupted_ ? "; interrupted" : "");
}

}  // namespace Agent::Demo
