// The program `storagedevices`: reads the command line and runs the command.

#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "agent/config/ProgramEnd.h"
#include "base/Companion.h"
#include "base/Version.h"
#include "command/CatalogueText.h"
#include "command/Check.h"
#include "command/CommandLine.h"
#include "command/Output.h"
#include "command/Queries.h"
#include "command/machine/CheckConfig.h"
#include "command/machine/Init.h"
#include "command/machine/Reload.h"
#include "runtime/Vorn/Module.h"

namespace {

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
   Command::print(command.json ? Command::catalogueJson(entries) : Command::catalogueText(entries));
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

// To a monitoring system every failure of the check itself is an unknown state.
int check(Command::Subcommand const & command) {
   try {
      return Command::showCheck(command);
   } catch (std::exception const & error) {
      return Agent::failWith(static_cast<int>(Command::PluginStatus::unknown), error.what());
   }
}

int run(Command::Subcommand const & command) {
   switch (command.kind) {
      case Command::Subcommand::Kind::agent:
         return runAgent(command);
      case Command::Subcommand::Kind::status:
         return Command::showStatus(command);
      case Command::Subcommand::Kind::messages:
         return Command::showMessages(command);
      case Command::Subcommand::Kind::history:
         return Command::showHistory(command);
      case Command::Subcommand::Kind::check:
         return check(command);
      case Command::Subcommand::Kind::catalogue:
         return showCatalogue(command);
      case Command::Subcommand::Kind::checkConfig:
         return Command::checkConfig(command.configPath);
      case Command::Subcommand::Kind::init:
         return Command::init(command.configPath, command.write);
      case Command::Subcommand::Kind::reload:
         return Command::reload({command.socket, command.configPath});
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
      Command::print(invocation.output);
      std::fputs(invocation.error.c_str(), stderr);
      return invocation.exitCode;
   });
}
