#include "command/CommandLine.h"

#include <CLI/CLI.hpp>

#include <cstddef>
#include <initializer_list>

#include "base/HttpAddress.h"
#include "base/Number.h"
#include "base/Text.h"
#include "base/UnixAddress.h"
#include "command/Check.h"

namespace Command {

namespace {

constexpr char programName[] = "storagedevices";
// Where meanings begin in the help, so that a line fits into 80 columns.
constexpr std::size_t optionColumn = 22;

// A line that an operator can type, and what comes of it.
struct Example {
   char const * line;
   char const * effect;
};

std::string examplesText(std::initializer_list<Example> examples) {
   std::string text = "Examples:";
   for (Example const & example : examples)
      text.append("\n  ").append(example.line).append("\n      ").append(example.effect);
   return text;
}

// `help` is a sentence or several; the first is in the list of commands too.
CLI::App & addCommand(CLI::App & app, Subcommand & command, Subcommand::Kind kind, char const * name,
                      char const * help, std::initializer_list<Example> examples) {
   auto & sub = *app.add_subcommand(name, help);
   sub.footer(examplesText(examples));
   sub.callback([&command, kind] { command.kind = kind; });
   return sub;
}

std::string emptyPathError(std::string & path) {
   return path.empty() ? "needs the name of a file" : std::string{};
}

void addConfigOption(CLI::App & sub, Subcommand & command) {
   sub.add_option("--config", command.configPath, std::string{"Instead of "} + Base::defaultConfigPath)
       ->type_name("FILE")
       ->check(CLI::Validator{emptyPathError, ""});
}

void addAgent(CLI::App & app, Subcommand & command) {
   auto & sub = addCommand(
       app, command, Subcommand::Kind::agent, "agent", "Watch the storage of this machine, in the foreground",
       {{"storagedevices agent", "watches until SIGTERM or Ctrl-C; reads its configuration again at SIGHUP"},
        {"storagedevices agent --config ./test.toml", "with a configuration of your own"}});
   addConfigOption(sub, command);
}

std::string socketPathError(std::string & path) {
   if (!path.empty() && path.size() <= Base::UnixAddress::longestPath)
      return {};
   return "needs the path of a socket, at most " + std::to_string(Base::UnixAddress::longestPath) +
          " bytes long";
}

void addSocketOption(CLI::App & sub, Subcommand & command) {
   sub.add_option("--socket", command.socket, "The agent's socket")
       ->type_name("PATH")
       ->capture_default_str()
       ->check(CLI::Validator{socketPathError, ""});
}

void addStatus(CLI::App & app, Subcommand & command) {
   auto & sub =
       addCommand(app, command, Subcommand::Kind::status, "status",
                  "Show the health of each disk, as the agent reports it",
                  {{"storagedevices status --watch", "a table that is redrawn every second"},
                   {"storagedevices status --json | jq .verdicts", "the verdict on each disk, and why"}});
   auto * json = sub.add_flag("--json", command.json, "Print the state document");
   sub.add_flag("--watch", command.watch, "Redraw until interrupted")->excludes(json);
   addSocketOption(sub, command);
}

void addMessages(CLI::App & app, Subcommand & command) {
   auto & sub = addCommand(app, command, Subcommand::Kind::messages, "messages",
                           "Show the latest messages of the running agent, newest last",
                           {{"storagedevices messages", "each with its meaning and what to do"},
                            {"storagedevices messages --follow", "and each new one, until Ctrl-C"}});
   sub.add_flag("--json", command.json, "Print them as JSON; with --follow one on each line");
   sub.add_flag("--follow", command.follow, "Keep printing new messages until interrupted");
   addSocketOption(sub, command);
}

std::string emptySerialError(std::string & serial) {
   return serial.empty() ? "needs a serial number, as \"storagedevices status\" shows it" : std::string{};
}

std::string hoursError(std::string & text) {
   constexpr unsigned most = 8760;
   auto const hours = Base::parseWhole<unsigned>(text);
   if (hours && *hours >= 1 && *hours <= most)
      return {};
   return "must be a whole number of hours, 1 to 8760, not \"" + text + "\"";
}

void addHistory(CLI::App & app, Subcommand & command) {
   auto & sub = addCommand(
       app, command, Subcommand::Kind::history, "history",
       "Plot each disk's temperature, life left, reads and writes",
       {{"storagedevices history --disk KS0240118842 --hours 1", "one disk in the last hour"},
        {"storagedevices history --json | jq '.[].temperature | max'", "the highest of each disk"}});
   sub.add_option("--disk", command.disk, "Its serial number (default: all, worst first)")
       ->type_name("SERIAL")
       ->check(CLI::Validator{emptySerialError, ""});
   sub.add_option("--hours", command.hours, "How many of the latest hours, 1 to 8760")
       ->type_name("N")
       ->capture_default_str()
       ->check(CLI::Validator{hoursError, ""});
   sub.add_flag("--json", command.json, "Print JSON; of all disks an object by serial");
   addSocketOption(sub, command);
}

void addCheck(CLI::App & app, Subcommand & command) {
   auto & sub = addCommand(app, command, Subcommand::Kind::check, "check",
                           "Report the verdicts in one line for a monitoring system",
                           {{"storagedevices check", "exit code 0: ok, 1: warning, 2: critical, 3: unknown"},
                            {"storagedevices check > /dev/null || storagedevices status",
                             "for cron: the table is mailed when something is wrong"}});
   sub.add_flag("--json", command.json, "Print the same as JSON");
   addSocketOption(sub, command);
}

void addCatalogue(CLI::App & app, Subcommand & command) {
   auto & sub = addCommand(
       app, command, Subcommand::Kind::catalogue, "catalogue", "List the messages that can be logged",
       {{"storagedevices catalogue", "each with its severity, its meaning and what to do"}});
   sub.add_flag("--json", command.json, "Print them as JSON");
}

void addCheckConfig(CLI::App & app, Subcommand & command) {
   auto & sub = addCommand(app, command, Subcommand::Kind::checkConfig, "check-config",
                           "Check the configuration; show how devices are classified",
                           {{"storagedevices check-config --config ./new.toml",
                             "exit code 2 after an error; each names the file, the line and the remedy"}});
   addConfigOption(sub, command);
}

void addInit(CLI::App & app, Subcommand & command) {
   auto & sub = addCommand(app, command, Subcommand::Kind::init, "init",
                           "Propose blockdev and expected_mounts for this machine",
                           {{"storagedevices init", "what each disk would become and why, and the two files"},
                            {"storagedevices init --write && storagedevices check-config",
                             "writes the files that do not exist, and shows their effect"}});
   sub.add_flag("--write", command.write, "Write the files; one that exists is never changed");
   addConfigOption(sub, command);
}

void addReload(CLI::App & app, Subcommand & command) {
   auto & sub = addCommand(
       app, command, Subcommand::Kind::reload, "reload",
       "Check the configuration and have the agent read it again",
       {{"storagedevices reload", "says what takes effect now, and what later; forgets disks that are gone"},
        {"storagedevices reload --config /etc/storagedevices/storagedevices.toml",
         "likewise, and only if this is the file that the agent reads"}});
   sub.add_option("--config", command.configPath, "The configuration file that the agent must be using")
       ->type_name("FILE")
       ->check(CLI::Validator{emptyPathError, ""});
   addSocketOption(sub, command);
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
   auto & sub = addCommand(
       app, command, Subcommand::Kind::demo, "demo", "Run a simulated appliance; touches no disk",
       {{"storagedevices demo", "a story of ageing disks, repeated until Ctrl-C"},
        {"storagedevices demo --http 127.0.0.1:9634", "and what the agent serves, for a browser"}});
   sub.add_option("--time-scale", command.timeScale, "How many times faster time runs, 0.001 to 100000")
       ->type_name("N")
       ->check(CLI::Validator{timeScaleError, ""});
   sub.add_option("--http", command.http, "Serve what the agent serves on TCP too, loopback only")
       ->type_name("ADDR:PORT")
       ->check(CLI::Validator{httpAddressError, ""});
}

Invocation usageError(CLI::App const & app, CLI::ParseError const & error) {
   auto const chosen = app.get_subcommands();
   std::string const helpFor = chosen.empty() ? "" : " " + chosen.front()->get_name();
   Invocation invocation;
   invocation.exitCode = 2;
   invocation.error = std::string{programName} + ": " + Base::cutToWidth(Base::escaped(error.what()), 300) +
                      "; see " + programName + helpFor + " --help\n";
   if (helpFor == " check") {
      invocation.exitCode = static_cast<int>(PluginStatus::unknown);
      invocation.output = unknownLine("wrong usage: " + std::string{error.what()});
   }
   return invocation;
}

}  // namespace

Invocation parseCommandLine(std::vector<std::string> const & arguments, std::string_view version) {
   Subcommand command;
   CLI::App app{"Watches the storage devices of this appliance.", programName};
   app.set_version_flag("--version", std::string{programName} + " " + std::string{version});
   app.footer(std::string{"\""} + programName + " COMMAND --help\" shows examples of each command.");
   app.get_formatter()->column_width(optionColumn);
   app.require_subcommand(0, 1);  // a missing one is refused below, so that an unknown word is named first
   addAgent(app, command);
   addStatus(app, command);
   addMessages(app, command);
   addHistory(app, command);
   addCheck(app, command);
   addCatalogue(app, command);
   addCheckConfig(app, command);
   addInit(app, command);
   addReload(app, command);
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
