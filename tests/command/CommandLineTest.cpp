#include "command/CommandLine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

namespace Command {
namespace {

using Arguments = std::vector<std::string>;

Subcommand commandOf(Arguments const & arguments) {
   Invocation const invocation = parseCommandLine(arguments, "1.2.3");
   EXPECT_TRUE(invocation.command.has_value()) << invocation.error;
   EXPECT_EQ(invocation.exitCode, 0);
   EXPECT_EQ(invocation.output + invocation.error, "");
   return invocation.command.value_or(Subcommand{});
}

std::string usageErrorOf(Arguments const & arguments) {
   Invocation const invocation = parseCommandLine(arguments, "1.2.3");
   EXPECT_FALSE(invocation.command.has_value());
   EXPECT_EQ(invocation.exitCode, 2);
   EXPECT_EQ(invocation.output, "");
   EXPECT_EQ(std::count(invocation.error.begin(), invocation.error.end(), '\n'), 1) << invocation.error;
   EXPECT_TRUE(invocation.error.starts_with("storagedevices: ") && invocation.error.ends_with(" --help\n"))
       << invocation.error;
   return invocation.error;
}

TEST(CommandLineTest, NamesACommand) {
   EXPECT_EQ(commandOf({"agent"}).kind, Subcommand::Kind::agent);
   EXPECT_EQ(commandOf({"status"}).kind, Subcommand::Kind::status);
   EXPECT_EQ(commandOf({"messages"}).kind, Subcommand::Kind::messages);
   EXPECT_EQ(commandOf({"history"}).kind, Subcommand::Kind::history);
   EXPECT_EQ(commandOf({"check"}).kind, Subcommand::Kind::check);
   EXPECT_EQ(commandOf({"catalogue"}).kind, Subcommand::Kind::catalogue);
   EXPECT_EQ(commandOf({"check-config"}).kind, Subcommand::Kind::checkConfig);
   EXPECT_EQ(commandOf({"init"}).kind, Subcommand::Kind::init);
   EXPECT_EQ(commandOf({"reload"}).kind, Subcommand::Kind::reload);
   EXPECT_EQ(commandOf({"demo"}).kind, Subcommand::Kind::demo);
}

TEST(CommandLineTest, LeavesMissingOptionsAtTheirDefaults) {
   Subcommand const status = commandOf({"status"});
   EXPECT_EQ(status.socket, "/run/storagedevices/status.sock");
   EXPECT_FALSE(status.json || status.watch);
   Subcommand const messages = commandOf({"messages"});
   EXPECT_EQ(messages.socket, "/run/storagedevices/status.sock");
   EXPECT_FALSE(messages.json || messages.follow);
   EXPECT_EQ(commandOf({"agent"}).configPath, std::nullopt);
   EXPECT_EQ(commandOf({"demo"}).timeScale, std::nullopt);
}

TEST(CommandLineTest, AcceptsTheOptionsOfEachCommand) {
   EXPECT_EQ(commandOf({"agent", "--config", "/a.toml"}).configPath, "/a.toml");
   EXPECT_EQ(commandOf({"check-config", "--config=/b.toml"}).configPath, "/b.toml");
   EXPECT_TRUE(commandOf({"status", "--json"}).json);
   Subcommand const watch = commandOf({"status", "--socket", "/x.sock", "--watch"});
   EXPECT_TRUE(watch.watch);
   EXPECT_EQ(watch.socket, "/x.sock");
   Subcommand const messages = commandOf({"messages", "--follow", "--json", "--socket", "/y.sock"});
   EXPECT_TRUE(messages.follow && messages.json);
   EXPECT_EQ(messages.socket, "/y.sock");
   Subcommand const check = commandOf({"check", "--json", "--socket", "/z.sock"});
   EXPECT_TRUE(check.json);
   EXPECT_EQ(check.socket, "/z.sock");
   Subcommand const history =
       commandOf({"history", "--disk", "SN 1", "--hours", "8760", "--json", "--socket", "/h.sock"});
   EXPECT_EQ(history.disk, "SN 1");
   EXPECT_EQ(history.hours, 8760U);
   EXPECT_TRUE(history.json);
   EXPECT_EQ(history.socket, "/h.sock");
   EXPECT_EQ(commandOf({"history"}).hours, 24U);
   EXPECT_EQ(commandOf({"history"}).disk, std::nullopt);
   Subcommand const init = commandOf({"init", "--write", "--config", "/i.toml"});
   EXPECT_TRUE(init.write);
   EXPECT_EQ(init.configPath, "/i.toml");
   EXPECT_FALSE(commandOf({"init"}).write);
   Subcommand const reload = commandOf({"reload", "--config", "/c.toml", "--socket", "/r.sock"});
   EXPECT_EQ(reload.configPath, "/c.toml");
   EXPECT_EQ(reload.socket, "/r.sock");
   EXPECT_TRUE(commandOf({"catalogue", "--json"}).json);
   EXPECT_EQ(commandOf({"demo", "--time-scale", "250.5"}).timeScale, 250.5);
   EXPECT_EQ(commandOf({"demo", "--http", "127.0.0.1:9634"}).http, "127.0.0.1:9634");
   EXPECT_NE(usageErrorOf({"demo", "--http", "0.0.0.0:9634"}).find("--http"), std::string::npos);
}

TEST(CommandLineTest, RefusesWrongUsageInOneLine) {
   EXPECT_EQ(usageErrorOf({}), "storagedevices: A command is required; see storagedevices --help\n");
   EXPECT_NE(usageErrorOf({"frobnicate"}).find("frobnicate"), std::string::npos);
   EXPECT_NE(usageErrorOf({"--frobnicate"}).find("--frobnicate"), std::string::npos);
   EXPECT_NE(usageErrorOf({"agent", "--json"}).find("--json"), std::string::npos);
   EXPECT_NE(usageErrorOf({"status", "now"}).find("now"), std::string::npos);
   EXPECT_NE(usageErrorOf({"agent", "--config"}).find("--config"), std::string::npos);
   EXPECT_NE(usageErrorOf({"agent", "--config", ""}).find("--config"), std::string::npos);
   EXPECT_NE(usageErrorOf({"agent", "--config", "a", "--config", "b"}).find("--config"), std::string::npos);
   for (std::string const & path : {std::string{}, "/" + std::string(107, 's')})
      EXPECT_NE(usageErrorOf({"status", "--socket", path}).find("--socket"), std::string::npos) << path;
   EXPECT_NE(usageErrorOf({"status", "--json", "--watch"}).find("--json"), std::string::npos);
   EXPECT_NE(usageErrorOf({"messages", "--watch"}).find("--watch"), std::string::npos);
   EXPECT_NE(usageErrorOf({"status", "catalogue"}).find("catalogue"), std::string::npos);
}

TEST(CommandLineTest, SaysWrongUsageOfACheckToTheMonitoringSystemToo) {
   Invocation const invocation = parseCommandLine({"check", "--no|pe"}, "1.2.3");
   EXPECT_EQ(invocation.exitCode, 3);
   EXPECT_EQ(invocation.output,
             "STORAGE UNKNOWN - wrong usage: The following argument was not expected: --no/pe\n");
   EXPECT_TRUE(invocation.error.ends_with("; see storagedevices check --help\n")) << invocation.error;
}

TEST(CommandLineTest, BoundsTheTimeScale) {
   for (char const * scale : {"0", "-1", "nan", "inf", "100001", "fast", ""})
      EXPECT_NE(usageErrorOf({"demo", "--time-scale", scale}).find("--time-scale"), std::string::npos)
          << scale;
}

TEST(CommandLineTest, BoundsTheHistory) {
   for (char const * hours : {"0", "-1", "8761", "1.5", "day", ""})
      EXPECT_NE(usageErrorOf({"history", "--hours", hours}).find("--hours"), std::string::npos) << hours;
   EXPECT_NE(usageErrorOf({"history", "--disk", ""}).find("--disk"), std::string::npos);
}

TEST(CommandLineTest, EscapesArgumentsThatItRepeats) {
   std::string const error = usageErrorOf({"\x1b[2J\n\xff"});
   EXPECT_NE(error.find("\\x1b[2J\\n\\xff"), std::string::npos) << error;
}

TEST(CommandLineTest, NamesTheHelpOfTheCommand) {
   EXPECT_TRUE(usageErrorOf({"status", "--no"}).ends_with("; see storagedevices status --help\n"));
   EXPECT_TRUE(usageErrorOf({"nonsense"}).ends_with("; see storagedevices --help\n"));
}

constexpr char const * commands[] = {"agent",     "status",       "messages", "history", "check",
                                     "catalogue", "check-config", "init",     "reload",  "demo"};

TEST(CommandLineTest, PrintsHelpAndVersion) {
   Invocation const help = parseCommandLine({"--help"}, "1.2.3");
   EXPECT_EQ(help.exitCode, 0);
   EXPECT_FALSE(help.command.has_value());
   for (char const * name : commands)
      EXPECT_NE(help.output.find(std::string{"\n  "} + name + " "), std::string::npos) << name;
   EXPECT_NE(help.output.find("--version"), std::string::npos);
   EXPECT_EQ(parseCommandLine({"--version"}, "1.2.3").output, "storagedevices 1.2.3\n");
}

TEST(CommandLineTest, ShowsAnExampleOfEachCommandThatItUnderstands) {
   for (char const * name : commands) {
      std::string const help = parseCommandLine({name, "--help"}, "1.2.3").output;
      std::string const begin = std::string{"Examples:\n  storagedevices "} + name;
      EXPECT_NE(help.find(begin), std::string::npos) << help;
      EXPECT_NE(help.find("Usage: storagedevices " + std::string{name}), std::string::npos) << help;
   }
}

TEST(CommandLineTest, FitsItsHelpIntoEightyColumns) {
   std::vector<Arguments> helps{{"--help"}};
   for (char const * name : commands)
      helps.push_back({name, "--help"});
   for (Arguments const & words : helps) {
      std::istringstream lines{parseCommandLine(words, "1.2.3").output};
      for (std::string line; std::getline(lines, line);)
         EXPECT_LE(line.size(), 80U) << line;
   }
}

}  // namespace
}  // namespace Command
