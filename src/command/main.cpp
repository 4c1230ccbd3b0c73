// The program `storagedevices`: reads the command line and runs the command.

#include <malloc.h>
#include <sys/ioctl.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "StorageDevices/Examination.h"
#include "agent/Scarcity.h"
#include "agent/StorageAgent.h"
#include "agent/config/ApplianceConfig.h"
#include "agent/config/ConfigFile.h"
#include "agent/config/KeysWithoutEffect.h"
#include "agent/logs/StderrLog.h"
#include "agent/tools/HelperPrograms.h"
#include "base/Text.h"
#include "base/Version.h"
#include "command/CatalogueText.h"
#include "command/CheckConfig.h"
#include "command/CommandLine.h"
#include "command/MessagesText.h"
#include "command/StatusClient.h"
#include "command/StatusTable.h"
#include "command/ToolSearch.h"
#include "runtime/Vorn/Module.h"
#include "runtime/Vorn/Shortage.h"

namespace {

constexpr int failed = 1;
constexpr int wrongUsage = 2;
constexpr int severityWarning = 4;

void print(std::string const & text) {
   if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
      throw std::system_error{errno, std::generic_category(), "standard output does not take the answer"};
}

// As it comes, however long it is.
void printDocument(std::string const & socket, std::string const & resource) {
   Agent::streamFromAgent(socket, resource, [](std::string_view part) { print(std::string{part}); });
   print("\n");
}

Agent::Config configOf(Agent::Command const & command) {
   return command.configPath ? Agent::loadConfig(*command.configPath)
                             : Agent::loadConfigIfPresent(Agent::defaultConfigPath);
}

Agent::Config rereadConfigOf(Agent::Command const & command) {
   return command.configPath ? Agent::reloadConfig(*command.configPath) : configOf(command);
}

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

int runAgent(Agent::Command const & command) {
   keepOneHeap();
   seedRandom();
   rlim_t const descriptors = allowAllDescriptors();
   allowEntering();
   Agent::Config config = configOf(command);
   Agent::StderrLog log;
   if (auto const line = Agent::descriptorsLine(descriptors))
      log.notice(severityWarning, *line);
   Agent::StorageAgent agent{std::move(config), log, [&command] { return rereadConfigOf(command); }};
   agent.run();
   return 0;
}

int fail(int code, std::string const & text) {
   std::fprintf(stderr, "%s\n", Agent::escaped(text).c_str());
   return code;
}

int checkConfig(Agent::Command const & command) {
   Agent::Config const config = configOf(command);
   bool const present = command.configPath || std::filesystem::exists(Agent::defaultConfigPath);
   std::string const source = present
                                  ? command.configPath.value_or(Agent::defaultConfigPath) + ": good"
                                  : std::string{Agent::defaultConfigPath} + ": not there, the defaults hold";
   auto const examination = StorageDevices::examineDevices(Agent::fruConfigOf(config));
   print(Agent::checkConfigText(config, source, examination) + Agent::toolsText(config.tools.path));
   for (std::string const & line : Agent::keysWithoutEffect(config, Agent::isUnderSystemd()))
      print(line + "\n");
   std::vector<std::string> errors = examination.errors;
   if (auto const error = Agent::mountSourceError(config.appliance.mountSourceDir))
      errors.push_back(*error);
   for (std::string const & error : errors)
      fail(wrongUsage, error);
   return errors.empty() ? 0 : wrongUsage;
}

int showCatalogue(Agent::Command const & command) {
   std::vector<Agent::CatalogueEntry> entries;
   for (Vorn::Module const * const module : Vorn::modules())
      for (Vorn::LogDescriptor const & descriptor : module->logDescriptors) {
         auto const & action = descriptor.recommendedAction;
         Agent::CatalogueEntry entry{
             descriptor.name, descriptor.severity, descriptor.format, descriptor.explanation, {}};
         if (action.isStandard())
            entry.recommendedAction = static_cast<std::uint8_t>(action.code());
         else
            entry.recommendedAction = std::string_view{action.ownText()};
         entries.push_back(entry);
      }
   print(command.json ? Agent::catalogueJson(entries) : Agent::catalogueText(entries));
   return 0;
}

Agent::TableOptions tableOptions() {
   Agent::TableOptions options;
   winsize size{};
   options.colour = isatty(STDOUT_FILENO) != 0;
   if (options.colour && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0)
      options.width = size.ws_col;
   return options;
}

std::string currentTable(std::string const & socket) {
   return Agent::statusTable(Agent::askAgent(socket, "/api/v1/state?history=1"),
                             Agent::askAgent(socket, "/api/v1/messages"), tableOptions());
}

// Until it is interrupted. An agent that is restarted is found again.
int watchStatus(std::string const & socket) {
   constexpr char clearScreen[] = "\x1b[H\x1b[2J";
   for (;;) {
      std::string screen;
      try {
         screen = currentTable(socket);
      } catch (std::exception const & error) {
         screen = std::string{error.what()} + "\n";
      }
      print((isatty(STDOUT_FILENO) ? clearScreen : "") + screen);
      std::this_thread::sleep_for(std::chrono::seconds{1});
   }
}

int showStatus(Agent::Command const & command) {
   if (command.watch)
      return watchStatus(command.socket);
   if (command.json)
      printDocument(command.socket, "/api/v1/state");
   else
      print(currentTable(command.socket));
   return 0;
}

// Following ends with an error when the agent does.
int showMessages(Agent::Command const & command) {
   if (command.json && !command.follow) {
      printDocument(command.socket, "/api/v1/messages");
      return 0;
   }
   using Form = Agent::MessageFeed::Form;
   Agent::MessageFeed feed{command.json ? Form::json : Form::text};
   print(feed.take(Agent::askAgent(command.socket, feed.resource())));
   while (command.follow) {
      std::this_thread::sleep_for(std::chrono::seconds{1});
      print(feed.take(Agent::askAgent(command.socket, feed.resource())));
   }
   return 0;
}

// The demo is a program of its own, so that what simulates a unit is no part of the agent.
int runDemo(Agent::Command const & command) {
   std::filesystem::path const self = std::filesystem::read_symlink("/proc/self/exe");
   std::filesystem::path const program = Agent::helperProgram(Agent::Helper::demo);
   if (program.empty())
      throw std::runtime_error{"storagedevices-demo is not installed beside " + self.string()};
   std::string const scale = std::to_string(command.timeScale.value_or(1.0));
   std::vector<char const *> arguments{program.c_str(), "--agent", self.c_str()};
   if (command.timeScale)
      arguments.insert(arguments.end(), {"--time-scale", scale.c_str()});
   if (command.http)
      arguments.insert(arguments.end(), {"--http", command.http->c_str()});
   arguments.push_back(nullptr);
   execv(program.c_str(), const_cast<char **>(arguments.data()));
   throw std::system_error{errno, std::generic_category(), program.string()};
}

int run(Agent::Command const & command) {
   switch (command.kind) {
      case Agent::Command::Kind::agent:
         return runAgent(command);
      case Agent::Command::Kind::status:
         return showStatus(command);
      case Agent::Command::Kind::messages:
         return showMessages(command);
      case Agent::Command::Kind::catalogue:
         return showCatalogue(command);
      case Agent::Command::Kind::checkConfig:
         return checkConfig(command);
      case Agent::Command::Kind::demo:
         return runDemo(command);
   }
   return failed;
}

}  // namespace

int main(int argc, char ** argv) {
   // A parent that ignores its children hands that on: the kernel would reap ours and keep how they ended.
   std::signal(SIGCHLD, SIG_DFL);
   try {
      auto const invocation = Agent::parseCommandLine({argv + 1, argv + argc}, Agent::version);
      if (invocation.command)
         return run(*invocation.command);
      print(invocation.output);
      std::fputs(invocation.error.c_str(), stderr);
      return invocation.exitCode;
   } catch (Agent::ConfigError const & error) {
      return fail(wrongUsage, error.what());
   } catch (std::system_error const & error) {
      return fail(failed, Vorn::errorAndRemedy(error));
   } catch (std::bad_alloc const &) {
      return fail(failed, Vorn::errorAndRemedy(ENOMEM));
   } catch (std::exception const & error) {
      return fail(failed, error.what());
   }
}
