// Running a child to its end, beside posix_spawn, two pipes, poll and waitpid used by hand. Also the effect
// of the size of the process that runs it.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Ratio.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Brul/PipedChildProcessSm.h"
#include "runtime/host/Loop.h"

namespace {

using Command = std::vector<std::string>;

Command const nothing{"/bin/true"};
Command const smallOutput{"/bin/echo", "a line as tools print it"};

void outputChecked(Command const & command, std::string const & output) {
   if (output != (command.size() > 1 ? command[1] + "\n" : ""))
      throw std::runtime_error(command[0] + " printed something else");
}

double ours(Command const & command) {
   static auto const tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   return Bench::secondsOf([&] {
      auto const child = Brul::PipedChildProcessSm::PipedChildProcessSmIs(tracker);
      for (auto const & word : command)
         child->argPush(Pelm::String{word});
      child->hasNotificationActiveIs(true);
      child->start(true, true);
      while (child->state() == Brul::PipedChildProcessSm::State::running)
         Vorn::Host::turn();
      if (child->state() != Brul::PipedChildProcessSm::State::finished)
         throw std::runtime_error(command[0] + " failed");
      outputChecked(command, child->stdoutBuffer());
   });
}

struct Pipe {
   Pipe() {
      if (pipe2(ends.data(), O_CLOEXEC) != 0)
         throw std::runtime_error("cannot make a pipe");
   }
   std::array<int, 2> ends{};
};

std::vector<char *> arguments(Command & command) {
   std::vector<char *> result;
   for (auto & word : command)
      result.push_back(word.data());
   result.push_back(nullptr);
   return result;
}

pid_t spawn(Command command, int out, int err) {
   posix_spawn_file_actions_t actions;
   posix_spawn_file_actions_init(&actions);
   posix_spawn_file_actions_adddup2(&actions, out, STDOUT_FILENO);
   posix_spawn_file_actions_adddup2(&actions, err, STDERR_FILENO);
   pid_t pid = -1;
   int const error =
       posix_spawn(&pid, command[0].c_str(), &actions, nullptr, arguments(command).data(), environ);
   posix_spawn_file_actions_destroy(&actions);
   if (error != 0)
      throw std::runtime_error("cannot run " + command[0]);
   return pid;
}

pid_t forkAndExec(Command command, int out, int err) {
   auto const words = arguments(command);
   pid_t const pid = fork();
   if (pid < 0)
      throw std::runtime_error("cannot fork");
   if (pid > 0)
      return pid;
   dup2(out, STDOUT_FILENO);
   dup2(err, STDERR_FILENO);
   execv(words[0], words.data());
   _exit(127);
}

// Reads both outputs to their ends. Answers the first one.
std::string drained(int out, int err) {
   std::array<pollfd, 2> polled{pollfd{out, POLLIN, 0}, pollfd{err, POLLIN, 0}};
   std::array<std::string, 2> texts;
   while (polled[0].fd >= 0 || polled[1].fd >= 0) {
      poll(polled.data(), polled.size(), -1);
      for (std::size_t i = 0; i < polled.size(); ++i) {
         if (polled[i].fd < 0 || polled[i].revents == 0)
            continue;
         std::array<char, 65536> buffer;
         ssize_t const count = read(polled[i].fd, buffer.data(), buffer.size());
         if (count > 0)
            texts[i].append(buffer.data(), static_cast<std::size_t>(count));
         else
            close(std::exchange(polled[i].fd, -1));
      }
   }
   return texts[0];
}

template <class Start>
double byHand(Command const & command, Start start) {
   return Bench::secondsOf([&] {
      Pipe const out;
      Pipe const err;
      pid_t const pid = start(command, out.ends[1], err.ends[1]);
      close(out.ends[1]);
      close(err.ends[1]);
      outputChecked(command, drained(out.ends[0], err.ends[0]));
      int status = 0;
      if (waitpid(pid, &status, 0) != pid || status != 0)
         throw std::runtime_error(command[0] + " failed");
   });
}

std::size_t residentMegabytes() {
   std::size_t size = 0;
   std::size_t resident = 0;
   std::ifstream{"/proc/self/statm"} >> size >> resident;
   return (resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) >> 20U;
}

// A process of a given size that measures on request. It is forked before this process has memory to share
// with it.
class Sized {
 public:
   explicit Sized(std::size_t megabytes) {
      std::array<int, 2> ends{};
      if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
         throw std::runtime_error("cannot make a socket pair");
      pid_ = fork();
      if (pid_ < 0)
         throw std::runtime_error("cannot fork");
      if (pid_ == 0) {
         close(ends[0]);
         serve(ends[1], megabytes);
      }
      close(ends[1]);
      socket_ = ends[0];
   }
   Sized(Sized const &) = delete;
   Sized & operator=(Sized const &) = delete;
   ~Sized() {
      close(socket_);
      waitpid(pid_, nullptr, 0);
   }

   double ours() const { return ask('o'); }
   double forked() const { return ask('f'); }

 private:
   double ask(char what) const {
      double seconds = 0;
      if (write(socket_, &what, 1) != 1 || read(socket_, &seconds, sizeof seconds) != sizeof seconds)
         throw std::runtime_error("a measuring process has ended");
      return seconds;
   }

   [[noreturn]] static void serve(int socket, std::size_t megabytes) {
      fill(megabytes);
      for (char what = 0; read(socket, &what, 1) == 1;) {
         double const seconds = what == 'o' ? ::ours(nothing) : byHand(nothing, &forkAndExec);
         if (write(socket, &seconds, sizeof seconds) != sizeof seconds)
            break;
      }
      _exit(0);
   }

   // In small pages, like the heap of a long-running program.
   static void fill(std::size_t megabytes) {
      std::size_t const missing = (megabytes - std::min(megabytes, residentMegabytes())) << 20U;
      if (missing == 0)
         return;
      void * const memory =
          mmap(nullptr, missing, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
      if (memory == MAP_FAILED || madvise(memory, missing, MADV_NOHUGEPAGE) != 0)
         throw std::runtime_error("no memory");
      std::fill_n(static_cast<char *>(memory), missing, '\1');
   }

   pid_t pid_;
   int socket_;
};

void compareSizes(Bench::Report & report) {
   Sized const small{10};
   Sized const large{500};
   enum : std::size_t { fromLarge, fromSmall, forkedFromLarge };
   auto const rounds = Bench::compete(
       {[&] { return large.ours(); }, [&] { return small.ours(); }, [&] { return large.forked(); }}, 301);
   report.claim("child: from a process of 500 MB, beside 10 MB", rounds, fromLarge, fromSmall, 1.2);
   Bench::Report::note("child: from 500 MB, fork and exec beside ours", rounds, forkedFromLarge, fromLarge);
}

void compareWithHand(Bench::Report & report, std::string const & what, Command const & command) {
   enum : std::size_t { runner, hand };
   auto const rounds =
       Bench::compete({[&] { return ours(command); }, [&] { return byHand(command, &spawn); }}, 501);
   report.claim("child: " + what + ", beside posix_spawn by hand", rounds, runner, hand, 1.15);
}

}  // namespace

int main() {
   // The runner sets it for its children. It makes them start faster, so all contenders get it.
   setenv("LC_ALL", "C", 1);
   Bench::Report report;
   compareSizes(report);
   compareWithHand(report, "/bin/true", nothing);
   compareWithHand(report, "a small output", smallOutput);
   return report.exitCode();
}
