// A unit of a fleet: an agent on a simulated appliance with four disks, to which happens what standard input
// says.
//
//    fleet-unit AGENT ADDRESS:PORT TIME_SCALE
//
// A line is an event and a disk by its kernel name: "new sda", "failing sda", "worn sda", "pull sda", "plug
// sda". The unit ends with SIGTERM, or when its input does. It runs under umockdev-wrapper. The agent is its
// only child.
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "demo/AgentConfig.h"
#include "demo/AgentProcess.h"
#include "demo/Cast.h"
#include "demo/Signals.h"
#include "demo/Story.h"

namespace {

using Demo::Disk;
using Demo::SimulatedUnit;

Demo::Options options(std::vector<std::string> const & words) {
   if (words.size() != 3)
      throw std::invalid_argument("usage: fleet-unit AGENT ADDRESS:PORT TIME_SCALE");
   Demo::Options found;
   found.agent = words[0];
   found.http = words[1];
   found.timeScale = std::stod(words[2]);
   return found;
}

Disk diskOf(std::string const & name) {
   for (auto const & disk : {Demo::flashDisk(), Demo::driveDisk(), Demo::emmcDisk(), Demo::eusbDisk()})
      if (disk.name == name)
         return disk;
   throw std::invalid_argument("no disk: " + name);
}

void becomesFailing(SimulatedUnit & unit, Disk const & disk) {
   auto health = Demo::fresh();
   health.passed = false;
   unit.healthIs(disk, health);
}

void becomesWorn(SimulatedUnit & unit, Disk const & disk) {
   auto health = Demo::fresh();
   health.percentUsed = 93;
   unit.healthIs(disk, health);
}

void happens(SimulatedUnit & unit, std::string const & line) {
   static std::map<std::string, std::function<void(SimulatedUnit &, Disk const &)>> const events{
       {"new", [](auto & of, auto const & disk) { of.healthIs(disk, Demo::fresh()); }},
       {"failing", becomesFailing},
       {"worn", becomesWorn},
       {"pull", [](auto & of, auto const & disk) { of.unplug(disk.name); }},
       {"plug", [](auto & of, auto const & disk) { of.plug(disk); }}};
   std::istringstream words(line);
   std::string event;
   std::string disk;
   words >> event >> disk;
   auto const found = events.find(event);
   if (found == events.end())
      throw std::invalid_argument("no event: " + line);
   found->second(unit, diskOf(disk));
}

// The lines of standard input so far; false at its end.
bool read(SimulatedUnit & unit, std::string & rest) {
   std::array<char, 256> buffer{};
   auto const got = ::read(STDIN_FILENO, buffer.data(), buffer.size());
   if (got <= 0)
      return false;
   rest.append(buffer.data(), static_cast<std::size_t>(got));
   for (auto end = rest.find('\n'); end != std::string::npos; end = rest.find('\n')) {
      happens(unit, rest.substr(0, end));
      rest.erase(0, end + 1);
   }
   return true;
}

void print(std::vector<std::string> const & lines) {
   for (auto const & line : lines)
      std::printf("%s\n", line.c_str());
   std::fflush(stdout);
}

void run(Demo::Options const & options) {
   Demo::Signals signals;
   SimulatedUnit unit;
   Demo::bootUnit(unit);
   auto const config = Demo::writeAgentConfig(unit, options);
   Demo::AgentProcess agent(options.agent, {"agent", "--config", config.file.string()}, unit.environment());
   std::string rest;
   bool open = true;
   while (open && !signals.raised()) {
      std::array<pollfd, 3> entries{{{signals.descriptor(), POLLIN, 0},
                                     {STDIN_FILENO, POLLIN, 0},
                                     {agent.outputDescriptor(), POLLIN, 0}}};
      poll(entries.data(), entries.size(), -1);
      print(agent.lines());
      if (!agent.running())
         throw std::runtime_error("the agent ended by itself: " + agent.stop());
      if (entries[1].revents != 0)
         open = read(unit, rest);
   }
   print({"the agent's end: " + agent.stop()});
}

}  // namespace

int main(int argc, char ** argv) {
   try {
      run(options(std::vector<std::string>(argv + 1, argv + argc)));
      return EXIT_SUCCESS;
   } catch (std::exception const & error) {
      std::fprintf(stderr, "fleet-unit: %s\n", error.what());
      return EXIT_FAILURE;
   }
}
