#include "command/Queries.h"

#include <unistd.h>

#include <cctype>
#include <chrono>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/JsonText.h"
#include "base/JsonView.h"
#include "base/Terminal.h"
#include "base/Text.h"
#include "command/Check.h"
#include "command/HistoryText.h"
#include "command/MessagesText.h"
#include "command/Output.h"
#include "command/StatusClient.h"
#include "command/StatusTable.h"

namespace Command {

namespace {

// Part by part, so that a long document needs no memory.
void printDocument(std::string const & socket, std::string const & resource) {
   streamFromAgent(socket, resource, print);
   print("\n");
}

TableOptions tableOptions() {
   return {.width = Base::outputWidth(STDOUT_FILENO), .colour = Base::takesColour(STDOUT_FILENO)};
}

std::string currentTable(std::string const & socket) {
   return statusTable(askAgent(socket, "/api/v1/state?history=1"), askAgent(socket, "/api/v1/messages"),
                      tableOptions());
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

struct CheckAnswer {
   PluginStatus status;
   std::string text;
};

CheckAnswer checkAnswer(Subcommand const & command) {
   try {
      std::string const state = askAgent(command.socket, "/api/v1/state?history=0");
      CheckResult const result = checkResult(Base::parsedJson(state, "state document"));
      return {result.status, command.json ? checkJson(result) : checkLine(result)};
   } catch (std::exception const & error) {
      return {PluginStatus::unknown, command.json ? unknownJson(error.what()) : unknownLine(error.what())};
   }
}

// Every byte but those that stand for themselves in the argument of a resource, as "%2F".
std::string percentEncoded(std::string_view text) {
   constexpr char hexadecimal[] = "0123456789ABCDEF";
   std::string result;
   for (unsigned char const c : text)
      if (std::isalnum(c) != 0 || c == '-' || c == '_' || c == '.')
         result += static_cast<char>(c);
      else
         result.append("%").append(1, hexadecimal[c >> 4U]).append(1, hexadecimal[c & 0xfU]);
   return result;
}

std::string historyResource(CheckedDisk const & disk, unsigned hours) {
   return "/api/v1/history?disk=" + percentEncoded(disk.serial) + "&hours=" + std::to_string(hours);
}

// The one that the command names, or all.
std::vector<CheckedDisk> chosenDisks(std::vector<CheckedDisk> const & disks, Subcommand const & command) {
   if (!command.disk)
      return disks;
   for (CheckedDisk const & disk : disks)
      if (disk.serial == *command.disk)
         return {disk};
   throw std::runtime_error{
       Base::escaped(*command.disk) +
       ": the agent knows no disk of this serial number: \"storagedevices status\" lists "
       "them"};
}

std::string quotedJson(std::string_view text) {
   Base::JsonBuffer buffer;
   Base::JsonWriter writer{buffer};
   Base::writeText(writer, text);
   return {buffer.GetString(), buffer.GetSize()};
}

void printHistories(std::vector<CheckedDisk> const & disks, Subcommand const & command) {
   std::string separator;
   print("{");
   for (CheckedDisk const & disk : disks) {
      print(separator + quotedJson(disk.serial) + ":");
      streamFromAgent(command.socket, historyResource(disk, command.hours), print);
      separator = ",";
   }
   print("}\n");
}

void plotHistories(std::vector<CheckedDisk> const & disks, CheckResult const & unit, double now,
                   Subcommand const & command) {
   HistoryOptions const options{.width = Base::outputWidth(STDOUT_FILENO),
                                .colour = Base::takesColour(STDOUT_FILENO),
                                .utf8 = Base::takesUtf8(),
                                .hours = command.hours,
                                .now = now};
   for (CheckedDisk const & disk : disks) {
      auto const history = servedHistory(askAgent(command.socket, historyResource(disk, command.hours)));
      print(historyText(disk, unit, history, options) + "\n");
   }
   print(disks.empty() ? "No disk is watched: \"storagedevices check-config\" shows why.\n"
                       : historyLegend(options));
}

}  // namespace

int showHistory(Subcommand const & command) {
   auto const state = Base::parsedJson(askAgent(command.socket, "/api/v1/state?history=0"), "state document");
   CheckResult const unit = checkResult(state);
   auto const disks = chosenDisks(unit.disks, command);
   if (!command.json)
      plotHistories(disks, unit, Base::jsonNumber(&state, "time").value_or(0), command);
   else if (command.disk)
      printDocument(command.socket, historyResource(disks.front(), command.hours));
   else
      printHistories(disks, command);
   return 0;
}

int showCheck(Subcommand const & command) {
   auto const [status, text] = checkAnswer(command);
   print(text);
   return static_cast<int>(status);
}

int showStatus(Subcommand const & command) {
   if (command.watch)
      return watchStatus(command.socket);
   if (command.json)
      printDocument(command.socket, "/api/v1/state");
   else
      print(currentTable(command.socket));
   return 0;
}

// Following ends with an error when the agent does.
int showMessages(Subcommand const & command) {
   if (command.json && !command.follow) {
      printDocument(command.socket, "/api/v1/messages");
      return 0;
   }
   using Form = MessageFeed::Form;
   MessageFeed feed{command.json ? Form::json : Form::text};
   print(feed.take(askAgent(command.socket, feed.resource())));
   while (command.follow) {
      std::this_thread::sleep_for(std::chrono::seconds{1});
      print(feed.take(askAgent(command.socket, feed.resource())));
   }
   return 0;
}

}  // namespace Command
