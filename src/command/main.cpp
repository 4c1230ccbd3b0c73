// The program `storagedevices`: reads the command line and runs the command.

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "StorageDevices/DiscoveryPreview.h"
#include "agent/config/ApplianceConfig.h"
#include "agent/config/ConfigFile.h"
#include "agent/config/KeysWithoutEffect.h"
#include "agent/config/ProgramEnd.h"
#include "base/Companion.h"
#include "base/DefaultPaths.h"
#include "base/Terminal.h"
#include "base/Version.h"
#include "command/CatalogueText.h"
#include "command/CheckConfig.h"
#include "command/CommandLine.h"
#include "command/MessagesText.h"
#include "command/StatusClient.h"
#include "command/StatusTable.h"
#include "command/ToolSearch.h"
#include "runtime/Vorn/Module.h"

namespace {

void print(std::string const & text) {
   if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
      throw std::system_error{errno, std::generic_category(), "standard output cannot be written"};
}

// Part by part, so that a long document needs no memory.
void printDocument(std::string const & socket, std::string const & resource) {
   Command::streamFromAgent(socket, resource, [](std::string_view part) { print(std::string{part}); });
   print("\n");
}

[[noreturn]] void become(char const * what, std::filesystem::path const & program,
                         std::vector<std::string> const & arguments) {
   if (program.empty())
      throw std::runtime_error{std::string{what} + " is not installed beside " +
                               std::filesystem::read_symlink("/proc/self/exe").string()};
   std::vector<char *> all{const_cast<char *>(program.c_str())};
   for (std::string const & argument : arguments)
      all.push_back(const_cast<char *>(argument.c_str()));
   all.push_back(nullptr);
   execv(program.c_str(), all.data());
   throw std::system_error{errno, std::generic_category(), program.string()};
}

// Becomes the daemon, a program of its own without the libraries that only a terminal needs.
int runAgent(Command::Subcommand const & command) {
   std::vector<std::string> arguments;
   if (command.configPath)
      arguments = {"--config", *command.configPath};
   become("the agent", Base::companionProgram({"../libexec/storagedevices/agent", "../agent/agent"}),
          arguments);
}

int checkConfig(Command::Subcommand const & command) {
   Agent::Config const config = Agent::configAt(command.configPath);
   bool const present = command.configPath || std::filesystem::exists(Base::defaultConfigPath);
   std::string const source =
       present ? command.configPath.value_or(Base::defaultConfigPath) + ": valid"
               : std::string{Base::defaultConfigPath} + ": does not exist; the defaults are used";
   auto const preview = StorageDevices::previewDiscovery(Agent::fruConfigOf(config));
   print(Command::checkConfigText(config, source, preview) + Command::toolsText(config.tools.path));
   for (std::string const & line : Agent::keysWithoutEffect(config, Agent::isUnderSystemd()))
      print(line + "\n");
   std::vector<std::string> errors = preview.errors;
   if (auto const error = Agent::mountSourceError(config.appliance.mountSourceDir))
      errors.push_back(*error);
   for (std::string const & error : errors)
      Agent::failWith(Agent::exitWrongUsage, error);
   return errors.empty() ? 0 : Agent::exitWrongUsage;
}

int showCatalogue(Command::Subcommand const & command) {
   std::vector<Command::CatalogueEntry> entries;
   for (Vorn::Module const * const module : Vorn::modules())
      for (Vorn::LogDescriptor const & descriptor : module->logDescriptors) {
         auto const & action = descriptor.recommendedAction;
         Command::CatalogueEntry entry{descriptor.name,        descriptor.severity, descriptor.format,
                                       descriptor.explanation, action.text(),       std::nullopt};
         if (action.isStandard())
            entry.standardAction = static_cast<std::uint8_t>(action.code());
         entries.push_back(entry);
      }
   print(command.json ? Command::catalogueJson(entries) : Command::catalogueText(entries));
   return 0;
}

Command::TableOptions tableOptions() {
   return {.width = Base::outputWidth(STDOUT_FILENO), .colour = Base::takesColour(STDOUT_FILENO)};
}

std::string currentTable(std::string const & socket) {
   return Command::statusTable(Command::askAgent(socket, "/api/v1/state?history=1"),
                               Command::askAgent(socket, "/api/v1/messages"), tableOptions());
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

int showStatus(Command::Subcommand const & command) {
   if (command.watch)
      return watchStatus(command.socket);
   if (command.json)
      printDocument(command.socket, "/api/v1/state");
   else
      print(currentTable(command.socket));
   return 0;
}

// Following ends with an error when the agent does.
int showMessages(Command::Subcommand const & command) {
   if (command.json && !command.follow) {
      printDocument(command.socket, "/api/v1/messages");
      return 0;
   }
   using Form = Command::MessageFeed::Form;
   Command::MessageFeed feed{command.json ? Form::json : Form::text};
   print(feed.take(Command::askAgent(command.socket, feed.resource())));
   while (command.follow) {
      std::this_thread::sleep_for(std::chrono::seconds{1});
      print(feed.take(Command::askAgent(command.socket, feed.resource())));
   }
   return 0;
}

// The simulation is no part of this program either.
int runDemo(Command::Subcommand const & command) {
   std::vector<std::string> arguments{"--agent", std::filesystem::read_symlink("/proc/self/exe")};
   if (command.timeScale)
      arguments.insert(arguments.end(), {"--time-scale", std::to_string(*command.timeScale)});
   if (command.http)
      arguments.insert(arguments.end(), {"--http", *command.http});
   become("the demo",
          Base::companionProgram(
              {"../libexec/storagedevices/storagedevices-demo", "../demo/storagedevices-demo"}),
          arguments);
}

int run(Command::Subcommand const & command) {
   switch (command.kind) {
      case Command::Subcommand::Kind::agent:
         return runAgent(command);
      case Command::Subcommand::Kind::status:
         return showStatus(command);
      case Command::Subcommand::Kind::messages:
         return showMessages(command);
      case Command::Subcommand::Kind::catalogue:
         return showCatalogue(command);
      case Command::Subcommand::Kind::checkConfig:
         return checkConfig(command);
      case Command::Subcommand::Kind::demo:
         return runDemo(command);
   }
   return Agent::exitFailed;
}

}  // namespace

int main(int argc, char ** argv) {
   return Agent::exitCodeOf([&] {
      auto const invocation = Command::parseCommandLine({argv + 1, argv + argc}, Base::version);
      if (invocation.command)
         return run(*invocation.command);
      print(invocation.output);
      std::fputs(invocation.error.c_str(), stderr);
      return invocation.exitCode;
   });
}
