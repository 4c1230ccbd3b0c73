// The daemon, which `storagedevices agent` becomes.

#include <malloc.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "agent/Scarcity.h"
#include "agent/StorageAgent.h"
#include "agent/config/ConfigFile.h"
#include "agent/config/ProgramEnd.h"
#include "agent/logs/StderrLog.h"

namespace {

// A tool that runs takes three, and a unit's disks are all asked at once. How many there are.
rlim_t allowAllDescriptors() {
   rlimit limit{};
   if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
      return RLIM_INFINITY;
   limit.rlim_cur = limit.rlim_max;
   setrlimit(RLIMIT_NOFILE, &limit);
   return limit.rlim_max;
}

// Who may enter its directories is for the agent to say, not for whoever starts it.
void allowEntering() {
   constexpr mode_t nobodyElseWrites = 022;
   umask(nobodyElseWrites);
}

// So that no two runs write the same texts when they test file systems.
void seedRandom() {
   auto seed = static_cast<unsigned>(getpid());
   getrandom(&seed, sizeof seed, GRND_NONBLOCK);
   std::srand(seed);
}

// A heap of its own for the watchdog's thread would reserve 64 MiB of address space for a few lines of text.
void keepOneHeap() {
   mallopt(M_ARENA_MAX, 1);
}

int runAgent(std::optional<std::string> const & configPath) {
   keepOneHeap();
   seedRandom();
   rlim_t const descriptors = allowAllDescriptors();
   allowEntering();
   Agent::Config config = Agent::configAt(configPath);
   Agent::StderrLog log;
   if (auto const line = Agent::descriptorsLine(descriptors))
      log.notice(LOG_WARNING, *line);
   Agent::StorageAgent agent{std::move(config), log, [&] { return Agent::configAgainAt(configPath); }};
   agent.run();
   return 0;
}

}  // namespace

int main(int argc, char ** argv) {
   // A parent that ignores its children hands that on: the kernel would reap ours and keep how they ended.
   std::signal(SIGCHLD, SIG_DFL);
   bool const named = argc == 3 && std::string_view{argv[1]} == "--config";
   if (argc != 1 && !named)
      return Agent::failWith(Agent::exitWrongUsage,
                             "usage: agent [--config FILE]; \"storagedevices agent\" starts it");
   return Agent::exitCodeOf(
       [&] { return runAgent(named ? std::optional<std::string>{argv[2]} : std::nullopt); });
}
