// The daemon, which `storagedevices agent` becomes.

#include <malloc.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "agent/LogSinks.h"
#include "agent/Scarcity.h"
#include "agent/StorageAgent.h"
#include "agent/config/ConfigFile.h"
#include "agent/config/ProgramEnd.h"
#include "agent/logs/AgentLog.h"
#include "base/DefaultPaths.h"

namespace {

// Raises the limit of open descriptors and answers it: each running tool uses three, and all disks are read
// at once.
rlim_t allowAllDescriptors() {
   rlimit limit{};
   if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
      return RLIM_INFINITY;
   limit.rlim_cur = limit.rlim_max;
   setrlimit(RLIMIT_NOFILE, &limit);
   return limit.rlim_max;
}

// The modes of the agent's directories must not depend on the umask of its parent.
void allowEntering() {
   constexpr mode_t nobodyElseWrites = 022;
   umask(nobodyElseWrites);
}

// Each run then tests file systems with other texts.
void seedRandom() {
   unsigned seed = 0;
   bool const drawn = getrandom(&seed, sizeof seed, GRND_NONBLOCK) == sizeof seed;
   std::srand(drawn ? seed : static_cast<unsigned>(getpid()));
}

// Separate heaps for the threads beside the loop's would each reserve 64 MiB of address space for a few lines
// of text.
void keepOneHeap() {
   mallopt(M_ARENA_MAX, 1);
}

// The memory of a large block returns to the system when it is freed. Otherwise the C library would take the
// next ones, of up to 32 MiB, from the heap, where one small block above them keeps them for years.
void returnLargeBlocks() {
   mallopt(M_MMAP_THRESHOLD, 128 << 10);
}

int runAgent(std::optional<std::string> const & configPath) {
   keepOneHeap();
   returnLargeBlocks();
   seedRandom();
   rlim_t const descriptors = allowAllDescriptors();
   allowEntering();
   Agent::Config config = Agent::configAt(configPath);
   auto sinks = Agent::logSinksFor(config.logDestination);
   Agent::AgentLog log{std::move(sinks.sink), std::move(sinks.substitute)};
   if (auto const line = Agent::descriptorsLine(descriptors))
      log.notice(LOG_WARNING, *line);
   std::string const file = std::filesystem::absolute(configPath.value_or(Base::defaultConfigPath));
   Agent::StorageAgent agent{std::move(config), log, [&] { return Agent::configAgainAt(configPath); }, file};
   agent.run();
   return 0;
}

}  // namespace

int main(int argc, char ** argv) {
   // A parent that ignores SIGCHLD passes that on: the kernel would reap our children and discard their exit
   // codes.
   std::signal(SIGCHLD, SIG_DFL);
   bool const named = argc == 3 && std::string_view{argv[1]} == "--config";
   if (argc != 1 && !named)
      return Agent::failWith(Agent::exitWrongUsage,
                             "usage: agent [--config FILE]; \"storagedevices agent\" starts it");
   return Agent::exitCodeOf(
       [&] { return runAgent(named ? std::optional<std::string>{argv[2]} : std::nullopt); });
}
