// The program with a day of history of 24 disks, one measurement per second, under absolute limits of its
// address space. Clients request the whole history again and again, and a hundred clients read nothing of it.
// A limit takes a minute, so `make bench` runs it with 32 MB alone:
//
//    umockdev-wrapper build/release/bench/memory_bench build/release/src/command/storagedevices [MEGABYTES…]
//
// The history comes from DayOfHistory.cpp within half a minute; everything else is the program's own.
// It fails when the agent ends, or answers anything but 200 and 503. It also fails when /healthz usually
// takes 50 ms, or when those readers cost more than 16 MiB of memory.
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"
#include "demo/AgentProcess.h"
#include "simulation/SimulatedUnit.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;
namespace Simulation = StorageDevices::Simulation;

constexpr int disks = 24;
constexpr double fillTime = 26;  // seconds until a day of history is there
constexpr int asks = 20;
constexpr int slowReaders = 100;
constexpr char wholeHistory[] = "/api/v1/state?history=all";

double seconds(Clock::duration span) {
   return std::chrono::duration<double>(span).count();
}

// A connection that has sent a request.
class Client {
 public:
   Client(std::string const & path, std::string const & resource) {
      Base::UnixAddress const address{path};
      timeval const patience{10, 0};
      setsockopt(fd_.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
      std::string const request = "GET " + resource + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n";
      if (connect(fd_.get(), address.get(), address.size()) == 0)
         send(fd_.get(), request.data(), request.size(), MSG_NOSIGNAL);
   }

   struct Answer {
      int status = 0;  // 0: none
      std::size_t bytes = 0;
      bool whole = false;
   };
   Answer answer() const {
      constexpr std::size_t statusAt = 9;
      std::array<char, 65536> buffer{};
      std::string head;
      std::string tail;
      Answer result;
      for (ssize_t count = 0; (count = recv(fd_.get(), buffer.data(), buffer.size(), 0)) > 0;) {
         std::string const part{buffer.data(), static_cast<std::size_t>(count)};
         result.bytes += part.size();
         if (head.size() <= statusAt)
            head += part;
         tail += part;
         tail.erase(0, std::max<std::size_t>(tail.size(), 5) - 5);
      }
      result.status = head.size() > statusAt ? std::atoi(head.c_str() + statusAt) : 0;
      result.whole = tail == "0\r\n\r\n" || result.status != 200;
      return result;
   }

 private:
   Base::UniqueFd fd_{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

// The agent under a limit, with its unit.
class Subject {
 public:
   Subject(fs::path const & program, Simulation::SimulatedUnit & unit, long megabytes) {
      fs::path const config = unit.folder() / "agent.toml";
      socket_ = (unit.folder() / "status.sock").string();
      std::ofstream{config} << "poll_interval = 1\n[appliance]\netc_dir = \"" << unit.etcFolder().string()
                            << "\"\nmount_source_dir = \"" << unit.folder().string() << "/sources\"\n"
                            << "[kernel_messages]\nforward_kmsg = false\nsocket = \""
                            << unit.folder().string()
                            << "/kernel.sock\"\n[history]\nfile = \"\"\n[status]\nsocket = \"" << socket_
                            << "\"\n";
      agent_ = std::make_unique<Demo::AgentProcess>(
          "/usr/bin/prlimit",
          std::vector<std::string>{"--as=" + std::to_string(megabytes * 1000000), program.string(), "agent",
                                   "--config", config.string()},
          withHistory(unit.environment()));
   }

   bool running() {
      for (std::string const & line : agent_->lines())
         ++lines_[line.size() > stampSize ? line.substr(stampSize) : line];
      return agent_->running();
   }
   std::string ending() { return agent_->stop(); }
   std::map<std::string, int> const & lines() const { return lines_; }

   Client::Answer ask(std::string const & resource) const { return Client{socket_, resource}.answer(); }
   std::unique_ptr<Client> client(std::string const & resource) const {
      return std::make_unique<Client>(socket_, resource);
   }
   // Of /proc/PID/status, in MiB.
   double mebibytes(char const * name) {
      if (pid_ == 0)
         pid_ = listener();
      std::ifstream file{"/proc/" + std::to_string(pid_) + "/status"};
      for (std::string line; std::getline(file, line);)
         if (line.starts_with(name))
            return std::stod(line.substr(line.find(':') + 1)) / 1024;
      return 0;
   }

 private:
   static constexpr std::size_t stampSize = 25;

   static std::map<std::string, std::string> withHistory(std::map<std::string, std::string> environment) {
      std::string & preload = environment["LD_PRELOAD"];
      preload = DAY_OF_HISTORY + (preload.empty() ? "" : ":" + preload);
      return environment;
   }

   pid_t listener() const {
      int const fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
      Base::UnixAddress const address{socket_};
      ucred peer{};
      socklen_t size = sizeof peer;
      if (connect(fd, address.get(), address.size()) == 0)
         getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size);
      close(fd);
      return peer.pid;
   }

   std::string socket_;
   std::unique_ptr<Demo::AgentProcess> agent_;
   std::map<std::string, int> lines_;  // without their times, and how often each came
   pid_t pid_ = 0;
};

struct Figures {
   std::map<int, int> statuses;  // of the whole history; 0: none
   int cut = 0;                  // of them, answers that ended early
   std::vector<double> health;   // seconds that each answer took
   int unhealthy = 0;
   double idle = 0;  // resident, MiB
   double crowded = 0;
   double after = 0;
};

void askHealth(Subject const & subject, Figures & figures) {
   auto const asked = Clock::now();
   figures.unhealthy += subject.ask("/healthz").status != 200;
   figures.health.push_back(seconds(Clock::now() - asked));
}

void wait(double time) {
   poll(nullptr, 0, static_cast<int>(time * 1e3));
}

// False when it ended meanwhile.
bool fill(Subject & subject) {
   auto const begun = Clock::now();
   while (seconds(Clock::now() - begun) < fillTime) {
      wait(1);
      if (!subject.running())
         return false;
   }
   return true;
}

void crowd(Subject & subject, Figures & figures) {
   std::vector<std::unique_ptr<Client>> readers;
   readers.reserve(slowReaders);
   for (int i = 0; i < slowReaders; ++i)
      readers.push_back(subject.client(wholeHistory));
   for (int i = 0; i < asks; ++i) {
      askHealth(subject, figures);
      figures.crowded = std::max(figures.crowded, subject.mebibytes("VmRSS"));
   }
}

Figures measure(Subject & subject) {
   Figures figures;
   figures.idle = subject.mebibytes("VmRSS");
   for (int i = 0; i < asks; ++i) {
      auto const answer = subject.ask(wholeHistory);
      ++figures.statuses[answer.status];
      figures.cut += !answer.whole;
      askHealth(subject, figures);
   }
   crowd(subject, figures);
   wait(1);
   askHealth(subject, figures);
   figures.after = subject.mebibytes("VmRSS");
   std::sort(figures.health.begin(), figures.health.end());
   return figures;
}

bool report(long megabytes, Subject & subject) {
   if (!fill(subject)) {
      std::printf("%4ld MB: ended while its history grew: %s\n", megabytes, subject.ending().c_str());
      for (auto const & [line, count] : subject.lines())
         std::printf("      %d x %s\n", count, line.c_str());
      return false;
   }
   Figures figures = measure(subject);
   bool const alive = subject.running();
   double const size = static_cast<double>(subject.ask(wholeHistory).bytes) / 1e6;
   std::printf(
       "%4ld MB: %s; mapped %.1f MiB; history %.1f MB of JSON; 200: %d (cut %d), 503: %d, none: %d; healthz "
       "usually %.1f, "
       "at most %.1f ms, failed %d; resident idle %.1f, crowded %.1f, after %.1f MiB\n",
       megabytes, alive ? "alive" : "ENDED", subject.mebibytes("VmSize"), size, figures.statuses[200],
       figures.cut, figures.statuses[503], figures.statuses[0],
       figures.health[figures.health.size() / 2] * 1e3, figures.health.back() * 1e3, figures.unhealthy,
       figures.idle, figures.crowded, figures.after);
   for (auto const & [line, count] : subject.lines())
      std::printf("      %d x %s\n", count, line.c_str());
   std::fflush(stdout);
   return alive && figures.statuses[0] == 0 && figures.unhealthy == 0 &&
          figures.health[figures.health.size() / 2] < 0.05 && figures.crowded < figures.idle + 16;
}

void addDisks(Simulation::SimulatedUnit & unit) {
   unit.blockdevIs({{".*/mmc_host/", "emmc"}});
   for (int i = 0; i < disks; ++i)
      unit.add(Simulation::emmcDevice("mmcblk" + std::to_string(i),
                                      "9b014e4f535052455921" + std::to_string(10000000 + i) + "5a01",
                                      62500000));
}

}  // namespace

int main(int argc, char ** argv) {
   if (argc < 2) {
      std::fprintf(stderr, "usage: memory_bench AGENT [MEGABYTES…]\n");
      return 2;
   }
   std::vector<long> limits{24, 32, 40, 64, 100, 200};
   if (argc > 2)
      limits.clear();
   for (int i = 2; i < argc; ++i)
      limits.push_back(std::atol(argv[i]));
   try {
      Simulation::SimulatedUnit unit;
      addDisks(unit);
      bool good = true;
      for (long const limit : limits) {
         Subject subject{argv[1], unit, limit};
         good = report(limit, subject) && good;
      }
      return good ? 0 : 1;
   } catch (std::exception const & error) {
      std::fprintf(stderr, "%s\n", error.what());
      return 1;
   }
}
