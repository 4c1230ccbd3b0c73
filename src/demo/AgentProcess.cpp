#include "demo/AgentProcess.h"

#include <fcntl.h>
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
#include <system_error>

#include "base/Companion.h"
namespace Agent::Demo {

namespace {

constexpr std::size_t longestLine = 4096;
constexpr std::chrono::seconds patience(2);

[[noreturn]] void fail(std::string const & what) {
   throw std::system_error(errno, std::generic_category(), what);
}

std::vector<std::string> environmentWith(std::map<std::string, std::string> const & added) {
   std::vector<std::string> all;
   for (char ** entry = environ; *entry != nullptr; ++entry) {
      std::string const text(*entry);
      if (!added.contains(text.substr(0, text.find('='))))
         all.push_back(text);
   }
   for (auto const & [name, value] : added)
      all.emplace_back(name).append("=").append(value);
   return all;
}

std::vector<char *> pointers(std::vector<std::string> & texts) {
   std::vector<char *> all;
   all.reserve(texts.size() + 1);
   for (auto & text : texts)
      all.push_back(text.data());
   all.push_back(nullptr);
   return all;
}

// Between fork and exec: nothing but system calls, since the test bed has threads.
[[noreturn]] void become(char const * program, char * const * arguments, char * const * environment,
                         int output, pid_t parent) {
   prctl(PR_SET_PDEATHSIG, SIGTERM);
   if (getppid() != parent)
      _exit(0);
   setpgid(0, 0);
   int const nothing = open("/dev/null", O_RDONLY);
   dup2(nothing, STDIN_FILENO);
   dup2(output, STDOUT_FILENO);
   dup2(output, STDERR_FILENO);
   signal(SIGPIPE, SIG_DFL);
   sigset_t none;
   sigemptyset(&none);
   sigprocmask(SIG_SETMASK, &none, nullptr);
   execve(program, arguments, environment);
   _exit(127);
}

std::vector<pid_t> children() {
   std::ifstream in("/proc/self/task/" + std::to_string(gettid()) + "/children");
   return {std::istream_iterator<pid_t>(in), std::istream_iterator<pid_t>()};
}

// Children that the agent had to leave come to this process, which is their reaper, and theirs after them.
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
                           std::map<std::string, std::string> const & environment) {
   if (access(program.c_str(), X_OK) != 0)
      fail("cannot run " + program.string());
   std::vector<std::string> words{program.string()};
   words.insert(words.end(), arguments.begin(), arguments.end());
   auto variables = environmentWith(environment);
   auto const wordPointers = pointers(words);
   auto const variablePointers = pointers(variables);
   prctl(PR_SET_CHILD_SUBREAPER, 1);
   std::array<int, 2> ends{};
   if (pipe2(ends.data(), O_CLOEXEC) != 0)
      fail("pipe");
   auto const parent = getpid();
   pid_ = fork();
   if (pid_ == 0)
      become(words.front().c_str(), wordPointers.data(), variablePointers.data(), ends[1], parent);
   close(ends[1]);
   output_ = ends[0];
   fcntl(output_, F_SETFL, O_NONBLOCK);
   if (pid_ < 0) {
      close(output_);
      fail("fork");
   }
}

AgentProcess::~AgentProcess() {
   stop();
   if (output_ >= 0)
      close(output_);
}

std::vector<std::string> AgentProcess::lines() {
   std::vector<std::string> complete;
   std::array<char, 4096> buffer{};
   while (output_ >= 0) {
      auto const got = read(output_, buffer.data(), buffer.size());
      if (got < 0 && errno == EINTR)
         continue;
      if (got < 0)
         break;
      if (got == 0) {
         close(output_);
         output_ = -1;
      }
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
   int const descriptor = static_cast<int>(syscall(SYS_pidfd_open, pid_, 0));
   bool ended = false;
   for (auto left = time; descriptor >= 0 && !ended && left.count() > 0;
        left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline -
                                                                     std::chrono::steady_clock::now())) {
      std::array<pollfd, 2> entries{{{descriptor, POLLIN, 0}, {output_, POLLIN, 0}}};
      poll(entries.data(), entries.size(), static_cast<int>(left.count()));
      ended = entries[0].revents != 0;
      lines();  // so that it does not wait for a reader
   }
   if (descriptor >= 0)
      close(descriptor);
   return ended;
}

std::string AgentProcess::stop() {
   if (!running())
      return ending_;
   kill(pid_, SIGTERM);
   if (!endsWithin(patience))
      kill(pid_, SIGKILL);
   int status = 0;
   if (waitpid(pid_, &status, 0) == pid_)
      ended(status);
   return ending_;
}

std::filesystem::path findAgent() {
   auto const program = Base::companionProgram({"../../bin/storagedevices", "../command/storagedevices"});
   if (program.empty())
      throw std::runtime_error("no storagedevices is installed with this demo: name it with --agent PATH");
   return program;
}

}  // namespace Agent::Demo
