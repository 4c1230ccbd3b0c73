#include "demo/AgentCommands.h"

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace Demo {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds answerPatience(2);

// Reads to the end of the output; false when the time is up before.
bool readAll(int descriptor, std::string & text, Clock::time_point until) {
   std::array<char, 65536> buffer{};
   for (;;) {
      auto const got = read(descriptor, buffer.data(), buffer.size());
      if (got == 0)
         return true;
      if (got > 0) {
         text.append(buffer.data(), static_cast<std::size_t>(got));
         continue;
      }
      auto const left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
      if ((errno != EAGAIN && errno != EINTR) || left.count() <= 0)
         return false;
      pollfd entry{descriptor, POLLIN, 0};
      poll(&entry, 1, static_cast<int>(left.count()));
   }
}

bool endsBy(pid_t process, Clock::time_point until) {
   Base::UniqueFd const descriptor{static_cast<int>(syscall(SYS_pidfd_open, process, 0))};
   auto const left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now());
   pollfd entry{descriptor.get(), POLLIN, 0};
   return descriptor && poll(&entry, 1, std::max(0, static_cast<int>(left.count()))) > 0;
}

// The simulation is for the agent: a command that sees it only starts later.
Environment withoutPreload(Environment environment) {
   environment.emplace("LD_PRELOAD", "");
   return environment;
}

}  // namespace

std::optional<std::string> outputOf(std::filesystem::path const & program,
                                    std::vector<std::string> const & arguments,
                                    Environment const & environment, std::chrono::milliseconds time) {
   auto const until = Clock::now() + time;
   auto const started = startProgram(program, arguments, environment, StandardError::dropped);
   std::string text;
   bool const whole = readAll(started.output.get(), text, until) && endsBy(started.process, until);
   if (!whole)
      kill(started.process, SIGKILL);
   int status = 0;
   bool const ended = waitpid(started.process, &status, 0) == started.process;
   return whole && ended && status == 0 ? std::optional(text) : std::nullopt;
}

AgentCommands::AgentCommands(std::filesystem::path program, std::filesystem::path const & socket)
    : program_(std::move(program)), socket_(socket.string()) {}

std::optional<std::string> AgentCommands::state() const {
   return outputOf(program_, {"status", "--json", "--socket", socket_}, withoutPreload({}), answerPatience);
}

std::optional<std::string> AgentCommands::messages() const {
   return outputOf(program_, {"messages", "--json", "--socket", socket_}, withoutPreload({}), answerPatience);
}

std::optional<std::string> AgentCommands::catalogue() const {
   return outputOf(program_, {"catalogue", "--json"}, withoutPreload({}), answerPatience);
}

std::optional<std::string> AgentCommands::table(TableForm const & form) const {
   auto const environment = withoutPreload(
       {{"COLUMNS", std::to_string(form.columns)}, {"CLICOLOR_FORCE", form.colour ? "1" : "0"}});
   return outputOf(program_, {"status", "--socket", socket_}, environment, answerPatience);
}

}  // namespace Demo
