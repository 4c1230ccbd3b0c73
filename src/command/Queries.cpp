#include "command/Queries.h"

#include <unistd.h>

#include <chrono>
#include <exception>
#include <string>
#include <string_view>
#include <thread>

#include "base/JsonView.h"
#include "base/Terminal.h"
#include "command/Check.h"
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

}  // namespace

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
