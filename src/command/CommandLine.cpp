#include "command/CommandLine.h"

#include <CLI/CLI.hpp>

#include "base/HttpAddress.h"
#include "base/Text.h"
#include "base/UnixAddress.h"

namespace Command {

namespace {

constexpr char programName[] = "storagedevices";

void addConfigOption(CLI::App & app, Subcommand & command, std::string const & otherwise) {
   app.add_option("--config", command.configPath, "Configuration file (" + otherwise + ")")
       ->type_name("FILE")
       ->check(CLI::Validator{
           [](std::string & path) { return path.empty() ? "needs the name of a file" : std::string{}; }, ""});
}

void addAgent(CLI::App & app, Subcommand & command) {
   auto * sub = app.add_subcommand("agent", "Run in the foreground and watch the storage of this machine");
   addConfigOption(*sub, command, std::string{"default: "} + Base::defaultConfigPath + " if there is one");
   sub->callback([&command] { command.kind = Subcommand::Kind::agent; });
}

std::string socketPathError(std::string & path) {
   if (!path.empty() && path.size() <= Base::UnixAddress::longestPath)
      return {};
   return "needs the path of a socket, at most " + std::to_string(Base::UnixAddress::longestPath) +
          " bytes long";
}

void addSocketOption(CLI::App & app, Subcommand & command) {
   app.add_option("--socket", command.socket, "The agent's socket")
       ->type_name("PATH")
       ->capture_default_str()
       ->check(CLI::Validator{socketPathError, ""});
}

void addStatus(CLI::App & app, Subcommand & command) {
   auto * sub = app.add_subcommand("status", "Show the health of each disk, as the running agent reports it");
   auto * json = sub->add_flag("--json", command.json, "Print the state document");
   sub->add_flag("--watch", command.watch, "Redraw until interrupted")->excludes(json);
   addSocketOption(*sub, command);
   sub->callback([&command] { command.kind = Subcommand::Kind::status; });
}

void addMessages(CLI::App & app, Subcommand & command) {
   auto * sub = app.add_subcommand("messages", "Show the latest messages of the running agent, newest last");
   sub->add_flag("--json", command.json, "Print them as JSON; with --follow one message per line");
   sub->add_flag("--follow", command.follow, "Keep printing new messages until interrupted");
   addSocketOption(*sub, command);
   sub->callback([&command] { command.kind = Subcommand::Kind::messages; });
}

void addCatalogue(CLI::App & app, Subcommand & command) {
   auto * sub = app.add_subcommand("catalogue", "List the messages that can be logged");
   sub->add_flag("--json", command.json, "Print them as JSON");
   sub->callback([&command] { command.kind = Subcommand::Kind::catalogue; });
}

void addCheckConfig(CLI::App & app, Subcommand & command) {
   auto * sub = app.add_subcommand(
       "check-config", "Check the configuration and show how each device of this machine is classified");
   addConfigOption(*sub, command, std::string{"default: "} + Base::defaultConfigPath + " if there is one");
   sub->callback([&command] { command.kind = Subcommand::Kind::checkConfig; });
}

// Empty for a good time scale. Written so that "nan" is refused.
std::string timeScaleError(std::string & text) {
   double scale = 0;
   if (CLI::detail::lexical_cast(text, scale) && scale >= 0.001 && scale <= 100000)
      return {};
   return "must be a number from 0.001 to 100000, not \"" + text + "\"";
}

std::string httpAddressError(std::string & text) {
   auto const address = Base::parseHttpAddress(text);
   if (address && address->loopback())
      return {};
   return "must be a loopback address and a port such as 127.0.0.1:9634, not \"" + text + "\"";
}

void addDemo(CLI::App & app, Subcommand & command) {
   auto * sub = app.add_subcommand("demo", "Run a simulated appliance; touches no disk");
   sub->add_option("--time-scale", command.timeScale, "How many times faster time runs, 0.001 to 100000")
       ->type_name("N")
       ->check(CLI::Validator{timeScaleError, ""});
   sub->add_option("--http", command.http, "Serve the simulated agent's status on TCP as well, loopback only")
       ->type_name("ADDR:PORT")
       ->check(CLI::Validator{httpAddressError, ""});
   sub->callback([&command] { command.kind = Subcommand::Kind::demo; });
}

Invocation usageError(CLI::App const & app, CLI::ParseError const & error) {
   auto const chosen = app.get_subcommands();
   std::string const helpFor = chosen.empty() ? "" : " " + chosen.front()->get_name();
   Invocation invocation;
   invocation.exitCode = 2;
   invocation.error = std::string{programName} + ": " + Base::cutToWidth(Base::escaped(error.what()), 300) +
                      "; see " + programName + helpFor + " --help\n";
   return invocation;
}

}  // namespace

Invocation parseCommandLine(std::vector<std::string> const & arguments, std::string_view version) {
   Subcommand command;
   CLI::App app{"Watches the storage devices of this appliance.", programName};
   app.set_version_flag("--version", std::string{programName} + " " + std::string{version});
   app.require_subcommand(0, 1);  // a missing one is refused below, so that an unknown word is named first
   addAgent(app, command);
   addStatus(app, command);
   addMessages(app, command);
   addCatalogue(app, command);
   addCheckConfig(app, command);
   addDemo(app, command);
   Invocation invocation;
   try {
      app.parse(std::vector<std::string>{arguments.rbegin(), arguments.rend()});
      if (app.get_subcommands().empty())
         throw CLI::RequiredError{"A command"};
      invocation.command = command;
   } catch (CLI::CallForHelp const &) {
      invocation.output = app.help();
   } catch (CLI::CallForVersion const & versionText) {
      invocation.output = std::string{versionText.what()} + "\n";
   } catch (CLI::ParseError const & error) {
      return usageError(app, error);
   }
   return invocation;
}

}  // namespace Command
