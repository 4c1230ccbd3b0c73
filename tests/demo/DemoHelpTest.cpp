// What the demo's help promises is there: the options, the documents and paths that it serves, the commands.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "base/UniqueFd.h"
#include "demo/AgentProcess.h"
#include "tests/support/RealTime.h"
#include "tests/support/TempDir.h"

namespace {

using namespace std::chrono_literals;
using Demo::AgentProcess;
using Words = std::vector<std::string>;

struct Output {
   int exitCode;
   std::string text;
};

Output outputOf(std::string const & command) {
   FILE * const pipe = popen((command + " 2>/dev/null").c_str(), "r");
   std::string text;
   std::array<char, 4096> buffer{};
   for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
      text.append(buffer.data(), count);
   return {WEXITSTATUS(pclose(pipe)), text};
}

// The help's words, without the marks around them.
Words wordsOf(std::string const & help) {
   Words words;
   std::istringstream text{help};
   for (std::string word; text >> word;) {
      std::size_t const begin = word.find_first_not_of("\"'(");
      std::size_t const end = word.find_last_not_of("\"').,;:");
      if (begin != word.npos && end != word.npos)
         words.push_back(word.substr(begin, end - begin + 1));
   }
   return words;
}

// The words of a list "state, messages and metrics" behind those words.
Words listBehind(std::string const & beginning, Words const & words) {
   Words const first = wordsOf(beginning);
   auto at = std::search(words.begin(), words.end(), first.begin(), first.end());
   Words list;
   if (at != words.end())
      for (at += static_cast<std::ptrdiff_t>(first.size()); at != words.end() && !at->starts_with("--"); ++at)
         if (*at != "and")
            list.push_back(*at);
   return list;
}

std::uint16_t freePort() {
   Base::UniqueFd const socket{::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
   socklen_t size = sizeof address;
   EXPECT_EQ(bind(socket.get(), reinterpret_cast<sockaddr *>(&address), size), 0);
   getsockname(socket.get(), reinterpret_cast<sockaddr *>(&address), &size);
   return ntohs(address.sin_port);
}

class DemoHelpTest : public testing::Test {
 protected:
   // Answers the document; empty when it is not served.
   std::string get(std::string const & path) const {
      Output const answer = outputOf("curl -s -f -m 10 http://" + address + path);
      return answer.exitCode == 0 ? answer.text : "";
   }
   void start(std::string const & program, Words const & arguments) {
      demo =
          std::make_unique<AgentProcess>(program, arguments, Demo::Environment{{"TMPDIR", folder.string()}});
      EXPECT_TRUE(Support::waitInRealTime([&] { return !get("/healthz").empty(); },
                                          [] { std::this_thread::sleep_for(50ms); }));
   }

   Support::TempDir folder;
   std::string const address = "127.0.0.1:" + std::to_string(freePort());
   std::string const ownHelp = outputOf(DEMO_PROGRAM " --help").text;
   std::string const commandHelp = outputOf(AGENT_PROGRAM " demo --help").text;
   std::unique_ptr<AgentProcess> demo;
};

// Every option of the help once, with a value; examples name some again.
Words optionsOf(std::string const & help, std::string const & address) {
   std::map<std::string, std::string> const values{
       {"--time-scale", "6000"}, {"--http", address}, {"--agent", AGENT_PROGRAM}};
   Words options;
   for (std::string const & word : wordsOf(help))
      if (word.starts_with("--") && std::ranges::count(options, word) == 0) {
         EXPECT_TRUE(values.contains(word)) << word << " is in the help and not tried here";
         options.insert(options.end(), {word, values.contains(word) ? values.at(word) : ""});
      }
   return options;
}

TEST_F(DemoHelpTest, NamesOptionsThatTheDemoTakes) {
   Words const options = optionsOf(ownHelp, address);
   EXPECT_EQ(options.size(), 6U) << ownHelp;
   start(DEMO_PROGRAM, options);
   EXPECT_TRUE(demo->running());
}

TEST_F(DemoHelpTest, NamesOptionsThatTheCommandTakes) {
   Words arguments = optionsOf(commandHelp, address);
   EXPECT_EQ(arguments.size(), 4U) << commandHelp;
   arguments.insert(arguments.begin(), "demo");
   start(AGENT_PROGRAM, arguments);
   EXPECT_TRUE(demo->running());
}

// Seconds since 1970.
double timeIn(std::string const & state) {
   std::string const key = "\"time\":";
   std::size_t const at = state.find(key);
   return at == state.npos ? 0 : std::stod(state.substr(at + key.size()));
}

TEST_F(DemoHelpTest, PromisesATimeThatRunsThatManyTimesFaster) {
   start(DEMO_PROGRAM, {"--time-scale", "6000", "--http", address});
   double const began = timeIn(get("/api/v1/state"));
   ASSERT_GT(began, 0);
   auto const start = std::chrono::steady_clock::now();
   EXPECT_TRUE(Support::waitInRealTime([&] { return timeIn(get("/api/v1/state")) > began + 3000; },
                                       [] { std::this_thread::sleep_for(50ms); }));
   EXPECT_GT(std::chrono::steady_clock::now() - start, 400ms);
}

TEST_F(DemoHelpTest, PromisesDocumentsThatAreServed) {
   // A document by the help's word for it: its path, and a word in it.
   std::map<std::string, std::pair<std::string, std::string>> const documents{
       {"state", {"/api/v1/state", "connectedDevices"}},
       {"messages", {"/api/v1/messages", "messages"}},
       {"metrics", {"/metrics", "# TYPE storagedevices_"}}};
   Words const promised = listBehind("The agent also answers there:", wordsOf(ownHelp));
   EXPECT_GE(promised.size(), 3U) << ownHelp;
   start(AGENT_PROGRAM, {"demo", "--http", address});
   for (std::string const & word : promised) {
      ASSERT_TRUE(documents.contains(word)) << word << " is in the help and not asked for here";
      auto const & [path, mark] = documents.at(word);
      EXPECT_NE(get(path).find(mark), std::string::npos) << path;
   }
   for (std::string const & word : wordsOf(ownHelp + commandHelp))
      EXPECT_TRUE(!word.starts_with('/') || !get(word).empty()) << word;
}

TEST_F(DemoHelpTest, NamesCommandsThatAreThere) {
   std::string const help = ownHelp + commandHelp;
   std::string const name = "storagedevices ";
   Words commands;
   for (auto at = help.find(name); at != help.npos; at = help.find(name, at + 1))
      commands.push_back(wordsOf(help.substr(at + name.size())).front());
   EXPECT_GE(commands.size(), 2U) << help;
   // For a command that is not there the help of all of them comes.
   for (std::string const & command : commands) {
      std::string usage = "Usage: ";
      usage.append(name).append(command);
      std::string const call = std::string{AGENT_PROGRAM " "}.append(command).append(" --help");
      EXPECT_NE(outputOf(call).text.find(usage), std::string::npos) << usage;
   }
}

}  // namespace
