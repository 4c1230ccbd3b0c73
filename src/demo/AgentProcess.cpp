#include "demo/AgentProcess.h"

#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "base/Companion.h"

namespace Demo {

namespace {

constexpr std::size_t longestLine = 4096;
constexpr std::chrono::seconds endPatience(2);

std::vector<pid_t> children() {
   std::ifstream in("/proc/self/task/" + std::to_string(gettid()) + "/children");
   return {std::istream_iterator<pid_t>(in), std::istream_iterator<pid_t>()};
}

// Processes that the agent left behind become children of this one, their reaper; so do their children.
void endOrphans() {
   for (auto orphans = children(); !orphans.empty(); orphans = children())
      for (auto const orphan : orphans) {
         kill(orphan, SIGKILL);
         waitpid(orphan, nullptr, 0);
      }
}

std::string described(int status) {
   if (WIFEXITED(status))
      return "exit code " + std::to_string(WEXITSTATUS(status));
   return "signal " + std::to_string(WTERMSIG(status));
}

}  // namespace

AgentProcess::AgentProcess(std::filesystem::path const & program, std::vector<std::string> const & arguments,
                           Environment const & environment) {
   prctl(PR_SET_CHILD_SUBREAPER, 1);
   auto started = startProgram(program, arguments, environment, StandardError::withOutput);
   pid_ = started.process;
   output_ = std::move(started.output);
}

AgentProcess::~AgentProcess() {
   stop();
}

std::vector<std::string> AgentProcess::lines() {
   std::vector<std::string> complete;
   std::array<char, 4096> buffer{};
   while (output_) {
      auto const got = read(output_.get(), buffer.data(), buffer.size());
      if (got < 0 && errno == EINTR)
         continue;
      if (got < 0)
         break;
      if (got == 0)
         output_.reset();
      unfinished_.append(buffer.data(), static_cast<std::size_t>(got));
      for (auto end = unfinished_.find('\n'); end != std::string::npos || unfinished_.size() > longestLine;
           end = unfinished_.find('\n')) {
         auto const size = std::min(end, longestLine);
         complete.push_back(unfinished_.substr(0, size));
         unfinished_.erase(0, size == end ? size + 1 : size);
      }
   }
   return complete;
}

bool AgentProcess::running() {
   int status = 0;
   if (pid_ > 0 && waitpid(pid_, &status, WNOHANG) == pid_)
      ended(status);
   return pid_ > 0;
}

void AgentProcess::ended(int status) {
   ending_ = described(status);
   pid_ = -1;
   endOrphans();
}

bool AgentProcess::endsWithin(std::chrono::milliseconds time) {
   auto const deadline = std::chrono::steady_clock::now() + time;
   Base::UniqueFd const descriptor{static_cast<int>(syscall(SYS_pidfd_open, pid_, 0))};
   bool ended = false;
   for (auto left = time; descriptor && !ended && left.count() > 0;
        left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                     std::chrono::steady_clock::now())) {
      std::array<pollfd, 2> entries{{{descriptor.get(), POLLIN, 0}, {output_.get(), POLLIN, 0}}};
      poll(entries.data(), entries.size(), static_cast<int>(left.count()));
      ended = entries[0].revents != 0;
      lines();  // so that it does not wait for a reader
   }
   return ended;
}

std::string AgentProcess::stop() {
   if (!running())
      return ending_;
   kill(pid_, SIGTERM);
   if (!endsWithin(endPatience))
      kill(pid_, SIGKILL);
   int status = 0;
   if (waitpid(pid_, &status, 0) == pid_)
      ended(status);
   return ending_;
}

std::filesystem::path findAgent() {
   auto program = Base::companionProgram({"../../bin/storagedevices", "../command/storagedevices"});
   if (program.empty())
      throw std::runtime_error("no storagedevices is installed with this demo: name it with --agent PATH");
   return program;
}

}  // namespace Demo
