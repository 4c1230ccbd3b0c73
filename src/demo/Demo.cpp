#include "demo/Demo.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdio>

namespace Demo {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds sampleEvery(100);
constexpr std::chrono::seconds tableEvery(1);

std::string seconds(Clock::duration time) {
   std::array<char, 32> text{};
   std::snprintf(text.data(), text.size(), "%.1f s", std::chrono::duration<double>(time).count());
   return text.data();
}

StorageDevices::Simulation::SimulatedUnit & withBootedUnit(StorageDevices::Simulation::SimulatedUnit & unit) {
   unit.patienceIs(std::chrono::seconds(3));
   bootUnit(unit);
   return unit;
}

}  // namespace

Demo::Demo(Options const & options, Signals & signals, Display & display)
    : signals_(signals),
      display_(display),
      config_(writeAgentConfig(withBootedUnit(unit_), options)),
      timeScale_(options.timeScale),
      program_(options.agent.empty() ? findAgent() : std::filesystem::path(options.agent)),
      commands_(program_, config_.statusSocket) {
   boot();
   unit_.whenFullIs([this] {
      wait();
      if (interrupted_)
         throw StorageDevices::Simulation::ListenerStalled("interrupted");
   });
}

void Demo::boot() {
   agent_.reset();
   state_ = {};
   lastMessage_ = 0;
   agent_ = std::make_unique<AgentProcess>(
       program_, std::vector<std::string>{"agent", "--config", config_.file.string()}, unit_.environment());
}

void Demo::play(bool repeat) {
   auto const & steps = story();
   do {
      // A later step builds on the earlier ones: a step not seen ends a story that is played once.
      for (std::size_t i = 0; i < steps.size() && !over() && (repeat || missed_ == 0); ++i)
         playStep(steps[i], std::to_string(i + 1) + "/" + std::to_string(steps.size()) + "  ");
   } while (repeat && !over());
}

void Demo::playStep(Step const & step, std::string const & number) {
   display_.stepIs(number + step.text);
   if (step.needsDirectIo && !unit_.fileSystems().supportDirectIo()) {
      ++leftOut_;
      display_.outcomeIs("left out: no folder here takes direct I/O; set TMPDIR to one that does");
      return;
   }
   auto const start = Clock::now();
   if (!act(step))
      return;
   bool const reached = watch(start + deadline(step), step.reached);
   if (over())
      return;
   ++(reached ? seen_ : missed_);
   display_.outcomeIs(reached ? "seen after " + seconds(Clock::now() - start)
                              : "NOT SEEN within " + seconds(deadline(step)));
   watch(Clock::now() + display_.pause(), [](ApplianceState const &) { return false; });
}

std::chrono::milliseconds Demo::deadline(Step const & step) const {
   std::chrono::duration<double> const agentTime = step.agentTime / timeScale_;
   return step.deadline + std::chrono::duration_cast<std::chrono::milliseconds>(agentTime);
}

bool Demo::act(Step const & step) {
   try {
      if (step.reboots)
         agent_.reset();
      step.act(unit_);
      if (step.reboots)
         boot();
   } catch (StorageDevices::Simulation::ListenerStalled const & error) {
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
      sample();
   }
   return false;
}

void Demo::wait() {
   std::array<pollfd, 2> entries{
       {{signals_.descriptor(), POLLIN, 0}, {agent_->outputDescriptor(), POLLIN, 0}}};
   poll(entries.data(), entries.size(), static_cast<int>(sampleEvery.count()));
   for (auto const & line : agent_->lines())
      display_.agentLine(line);
   interrupted_ = signals_.raised();
   if (std::ferror(stdout) != 0)
      failure_ = "standard output is closed";
}

void Demo::sample() {
   wait();
   if (over())
      return;
   if (!agent_->running())
      failure_ = "the agent ended by itself: " + agent_->stop();
   else
      askState();
}

// An agent that does not answer leaves the state as it was; the step's deadline decides.
void Demo::askState() {
   auto const document = commands_.state();
   if (!document)
      return;
   if (catalogue_.empty())
      if (auto const catalogue = commands_.catalogue())
         catalogue_ = messageNames(*catalogue);
   auto now = parseState(*document, commands_.messages().value_or(""));
   count(now.messages);
   auto const lines = differences(state_, now);
   for (auto const & line : lines)
      display_.difference(line);
   for (auto const & [serial, disk] : now.disks)
      disksSeen_.insert(serial);
   state_ = std::move(now);
   showTable(!lines.empty());
}

// At once when a disk has changed, else once a second, since ages and figures change too.
void Demo::showTable(bool changed) {
   auto const form = display_.tableForm();
   bool const due = changed || form != shownForm_ || Clock::now() - tableShown_ >= tableEvery;
   if (!form || !due)
      return;
   if (auto const table = commands_.table(*form)) {
      display_.tableIs(*table);
      shownForm_ = form;
      tableShown_ = Clock::now();
   }
}

void Demo::count(std::vector<Message> const & messages) {
   for (auto const & message : messages)
      if (message.sequence > lastMessage_) {
         ++messages_[message.name];
         lastMessage_ = message.sequence;
      }
}

std::size_t Demo::messagesMissing() const {
   return static_cast<std::size_t>(
       std::count_if(catalogue_.begin(), catalogue_.end(),
                     [&](std::string const & name) { return !messages_.contains(name); }));
}

std::string Demo::complaint() const {
   if (!failure_.empty())
      return failure_;
   if (interrupted_)
      return "interrupted";
   if (missed_ > 0)
      return std::to_string(missed_) + (missed_ == 1 ? " step was" : " steps were") + " not seen";
   if (auto const missing = messagesMissing(); missing > 0)
      return std::to_string(missing) + (missing == 1 ? " message was" : " messages were") + " not logged";
   return {};
}

std::string Demo::summary() const {
   auto const played = std::max<std::size_t>(story().size(), seen_ + missed_ + leftOut_);
   auto text = std::to_string(disksSeen_.size()) + " disks, " + std::to_string(seen_) + " of " +
               std::to_string(played) + " steps seen" +
               (leftOut_ > 0 ? ", " + std::to_string(leftOut_) + " left out" : "") + " in " +
               seconds(Clock::now() - start_);
   text += interrupted_ ? "; interrupted" : "";
   text += failure_.empty() ? "" : "; ended because " + failure_;
   if (catalogue_.empty())
      return text;
   text += "\n" + std::to_string(catalogue_.size() - messagesMissing()) + " of the " +
           std::to_string(catalogue_.size()) + " messages were logged:";
   for (auto const & name : catalogue_) {
      auto const times = messages_.find(name);
      std::array<char, 96> line{};
      std::snprintf(line.data(), line.size(), "\n  %4u  %s", times == messages_.end() ? 0 : times->second,
                    name.c_str());
      text += line.data();
   }
   return text;
}

}  // namespace Demo
