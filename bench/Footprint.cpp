// What the agent costs an appliance, beside smartd and node_exporter in the same minute on the same machine.
//
//    umockdev-wrapper build/release/bench/footprint_bench build/release/src/command/storagedevices
//
// All three are started in the same way, and nobody asks them anything. The agent watches a simulated unit of
// five disks. smartd and node_exporter do not see it, as they cannot work in the test bed: smartd gets no
// answer from the disks in its list, and watches none. Memory is that of smaps_rollup. A further agent has
// 1,000 disks: what it has more than the first is the cost of a disk. Fails when a bound is missed.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"
#include "bench/Ratio.h"
#include "demo/Cast.h"
#include "demo/ProgramStart.h"
#include "simulation/SimulatedUnit.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Demo::SimulatedUnit;

constexpr int starts = 11;
constexpr double settleSeconds = 20;
constexpr double idleSeconds = 60;
constexpr int manyDisks = 1000;
constexpr int peerPort = 19100;

void wait(double seconds) {
   std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

struct Program {
   std::string name;
   fs::path file;
   std::vector<std::string> arguments;
   int port = 0;  // 0: it notifies on NOTIFY_SOCKET when it is ready; else it is when it listens there
   bool seesUnit = false;
};

struct Memory {
   double resident = 0;  // KiB, like the others
   double proportional = 0;
   double privateDirty = 0;
};

Memory memoryOf(pid_t process) {
   std::map<std::string, double> fields;
   std::ifstream file{"/proc/" + std::to_string(process) + "/smaps_rollup"};
   for (std::string line; std::getline(file, line);)
      if (auto const colon = line.find(':'); colon != std::string::npos && line.ends_with(" kB"))
         fields[line.substr(0, colon)] = std::atof(line.c_str() + colon + 1);
   return {fields["Rss"], fields["Pss"], fields["Private_Dirty"]};
}

struct Activity {
   double cpuSeconds = 0;
   double wakeups = 0;  // of all threads
};

Activity activityOf(pid_t process) {
   Activity sum;
   for (auto const & thread : fs::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
      double nanoseconds = 0;
      std::ifstream{thread.path() / "schedstat"} >> nanoseconds;
      sum.cpuSeconds += nanoseconds / 1e9;
      std::ifstream file{thread.path() / "status"};
      for (std::string line; std::getline(file, line);)
         if (line.starts_with("voluntary_ctxt_switches:"))
            sum.wakeups += std::atof(line.c_str() + line.find(':') + 1);
   }
   return sum;
}

bool listens(int port) {
   Base::UniqueFd const client{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)};
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_port = htons(static_cast<std::uint16_t>(port));
   address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
   return connect(client.get(), reinterpret_cast<sockaddr const *>(&address), sizeof address) == 0;
}

// The socket on which a service manager is notified.
class Notifications {
 public:
   explicit Notifications(fs::path path) : path_{std::move(path)} {
      Base::UnixAddress const address{path_.string()};
      if (bind(socket_.get(), address.get(), address.size()) != 0)
         throw std::runtime_error(path_.string() + ": cannot be bound");
   }
   ~Notifications() { fs::remove(path_); }
   Notifications(Notifications const &) = delete;
   Notifications & operator=(Notifications const &) = delete;

   std::string path() const { return path_.string(); }
   // False when READY=1 does not come within ten seconds.
   bool ready() const {
      pollfd entry{socket_.get(), POLLIN, 0};
      while (poll(&entry, 1, 10000) == 1) {
         char text[4096];
         auto const size = recv(socket_.get(), text, sizeof text, 0);
         if (size > 0 &&
             std::string_view{text, static_cast<std::size_t>(size)}.find("READY=1") != std::string_view::npos)
            return true;
      }
      return false;
   }

 private:
   fs::path path_;
   Base::UniqueFd socket_{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};

// A program that runs until this ends.
class Running {
 public:
   Running(Program const & program, SimulatedUnit const & unit)
       : name_{program.name}, notifications_{unit.folder() / ("notify-" + program.name)} {
      auto environment =
          program.seesUnit ? unit.environment() : Demo::Environment{{"LD_PRELOAD", ""}, {"UMOCKDEV_DIR", ""}};
      environment["NOTIFY_SOCKET"] = notifications_.path();
      auto const begin = Clock::now();
      started_ =
          Demo::startProgram(program.file, program.arguments, environment, Demo::StandardError::withOutput);
      reader_ = std::jthread([fd = started_.output.get()] { readAway(fd); });
      if (!(program.port == 0 ? notifications_.ready() : listensSoon(program.port)))
         throw std::runtime_error(program.name + ": not ready within ten seconds");
      secondsToReady_ = std::chrono::duration<double>(Clock::now() - begin).count();
   }
   ~Running() {
      kill(started_.process, SIGTERM);
      waitpid(started_.process, nullptr, 0);
   }
   Running(Running const &) = delete;
   Running & operator=(Running const &) = delete;

   double secondsToReady() const { return secondsToReady_; }
   Memory memory() const { return memoryOf(started_.process); }
   Activity activity() const { return activityOf(started_.process); }

 private:
   static bool listensSoon(int port) {
      for (int tries = 0; tries < 50000; ++tries) {
         if (listens(port))
            return true;
         wait(0.0002);
      }
      return false;
   }

   // What a program prints is of no interest here, but it must not wait for a reader.
   static void readAway(int fd) {
      char text[4096];
      for (pollfd entry{fd, POLLIN, 0}; poll(&entry, 1, -1) == 1;)
         if (read(fd, text, sizeof text) <= 0)
            return;
   }

   std::string name_;
   Notifications notifications_;
   Demo::StartedProgram started_;
   std::jthread reader_;
   double secondsToReady_ = 0;
};

struct Figures {
   Memory memory;
   Activity minute;
};

fs::path writeConfig(SimulatedUnit const & unit, std::string const & name, fs::path const & etc, int hours) {
   fs::path file = unit.folder() / (name + ".toml");
   auto const in = [&](std::string const & below) { return (unit.folder() / below).string(); };
   // Polls are far apart: between them the agent is idle.
   std::ofstream{file} << "poll_interval = 3600\n[appliance]\netc_dir = \"" << etc.string()
                       << "\"\nmount_source_dir = \"" << in("sources") << "\"\n[tools]\npath = \""
                       << unit.toolsPath().string()
                       << "\"\n[kernel_messages]\nforward_kmsg = false\nsocket = \""
                       << in(name + "-kernel.sock") << "\"\n[history]\nhours = " << hours << "\nfile = \""
                       << in(name + "-history") << "\"\n[status]\nsocket = \"" << in(name + ".sock")
                       << "\"\n";
   return file;
}

Program agentWith(fs::path const & file, std::string const & name, fs::path const & config) {
   return {name, file, {"--config", config.string()}, 0, true};
}

Program agentOf(fs::path const & file, SimulatedUnit const & unit) {
   return agentWith(file, "agent", writeConfig(unit, "agent", unit.etcFolder(), 24));
}

// Sees the same disks, and runs no tool, since none of them belongs to the appliance.
Program agentWithoutTools(fs::path const & file, SimulatedUnit const & unit) {
   return agentWith(file, "bare", writeConfig(unit, "bare", "/nonexistent", 24));
}

// Its history's memory has a bound of its own.
Program agentWithoutHistory(fs::path const & file, SimulatedUnit const & unit) {
   return agentWith(file, "many", writeConfig(unit, "many", unit.etcFolder(), 0));
}

Program smartd(SimulatedUnit const & unit) {
   fs::path const config = unit.folder() / "smartd.conf";
   std::ofstream file{config};
   for (std::string const & disk : unit.disks())
      file << "/dev/" << disk << " -a\n";
   return {"smartd", "/usr/sbin/smartd", {"--no-fork", "--quit=never", "--configfile=" + config.string()}};
}

Program nodeExporter() {
   return {"node_exporter",
           "/usr/bin/prometheus-node-exporter",
           {"--web.listen-address=127.0.0.1:" + std::to_string(peerPort)},
           peerPort};
}

// The median seconds to readiness of each program; in every round each is started once.
std::vector<double> medianStarts(std::vector<Program> const & programs, SimulatedUnit const & unit) {
   std::vector<std::vector<double>> seconds(programs.size());
   for (int round = 0; round < starts; ++round)
      for (std::size_t i = 0; i < programs.size(); ++i)
         seconds[i].push_back(Running{programs[i], unit}.secondsToReady());
   std::vector<double> medians;
   std::transform(seconds.begin(), seconds.end(), std::back_inserter(medians),
                  [](auto const & each) { return Bench::median(each); });
   return medians;
}

std::vector<Figures> measureBesideEachOther(std::vector<Program> const & programs,
                                            SimulatedUnit const & unit) {
   std::vector<Figures> figures(programs.size());
   std::vector<std::unique_ptr<Running>> running;
   running.reserve(programs.size());
   for (auto const & program : programs)
      running.push_back(std::make_unique<Running>(program, unit));
   wait(settleSeconds);
   std::vector<Activity> before;
   before.reserve(running.size());
   for (auto const & each : running)
      before.push_back(each->activity());
   wait(idleSeconds);
   for (std::size_t i = 0; i < programs.size(); ++i) {
      auto const after = running[i]->activity();
      figures[i].minute = {after.cpuSeconds - before[i].cpuSeconds, after.wakeups - before[i].wakeups};
      figures[i].memory = running[i]->memory();
   }
   return figures;
}

// Without simulated mount points: the agent would ask the simulation again and again how their tests end.
void addFiveDisks(SimulatedUnit & unit) {
   unit.blockdevIs({{".*/ata1/host", "flash"},
                    {".*/nvme/", "drive"},
                    {".*/mmc_host/", "drive2"},
                    {".*/usb2/2-1/", "eusb"}});
   for (auto const & disk :
        {Demo::flashDisk(), Demo::driveDisk(), Demo::emmcDisk(), Demo::eusbDisk(), Demo::usbStick()}) {
      unit.add(disk);
      Demo::toolsReport(unit, disk);
   }
}

Memory memoryWithManyDisks(fs::path const & agent) {
   SimulatedUnit unit;
   unit.blockdevIs({{".*/mmc_host/", "emmc"}});
   for (int i = 0; i < manyDisks; ++i) {
      auto const disk = StorageDevices::Simulation::emmcDevice(
          "mmcblk" + std::to_string(i), "9b014e4f535052455921" + std::to_string(10000000 + i) + "5a01",
          62500000);
      unit.add(disk);
      unit.healthIs(disk, Demo::fresh());
   }
   Running const running{agentWithoutHistory(agent, unit), unit};
   wait(settleSeconds);
   return running.memory();
}

void printStarts(std::vector<double> const & seconds) {
   std::printf("| ready after its start, median of %d | ms |\n| --- | --- |\n", starts);
   char const * const names[] = {"agent, without the runs of tools", "agent, whole", "smartd",
                                 "node_exporter"};
   for (std::size_t i = 0; i < seconds.size(); ++i)
      std::printf("| %s | %.1f |\n", names[i], seconds[i] * 1e3);
}

void printFigures(std::vector<Figures> const & figures) {
   std::printf(
       "\n| program | resident (KiB) | proportional (KiB) | private dirty (KiB) | CPU in an idle minute (ms) "
       "| "
       "wake-ups in it |\n| --- | --- | --- | --- | --- | --- |\n");
   char const * const names[] = {"agent", "smartd", "node_exporter"};
   for (std::size_t i = 0; i < figures.size(); ++i)
      std::printf("| %s | %.0f | %.0f | %.0f | %.1f | %.0f |\n", names[i], figures[i].memory.resident,
                  figures[i].memory.proportional, figures[i].memory.privateDirty,
                  figures[i].minute.cpuSeconds * 1e3, figures[i].minute.wakeups);
}

// Whether a figure keeps its bound; prints both.
bool keeps(char const * what, double figure, double bound) {
   std::printf("| %s | %.1f | %.1f | %s |\n", what, figure, bound, figure <= bound ? "good" : "**missed**");
   return figure <= bound;
}

bool compare(double secondsToReady, Figures const & agent, Figures const & smartd, Memory const & many) {
   double const perDisk = (many.privateDirty - agent.memory.privateDirty) / (manyDisks - 5);
   std::printf("\n| what | figure | bound | |\n| --- | --- | --- | --- |\n");
   bool good = keeps("resident, beside smartd (times)", agent.memory.resident / smartd.memory.resident, 1.2);
   good = keeps("private dirty (KiB)", agent.memory.privateDirty, 1024) && good;
   good = keeps("proportional set beyond smartd's (KiB)",
                agent.memory.proportional - smartd.memory.proportional, 1024) &&
          good;
   good = keeps("CPU in an idle minute (ms)", agent.minute.cpuSeconds * 1e3, 10) && good;
   good = keeps("wake-ups in an idle minute", agent.minute.wakeups, 60) && good;
   good = keeps("ready after its start, without the runs of tools (ms)", secondsToReady * 1e3, 10) && good;
   return keeps("private memory a disk beyond its history, of 1,000 (KiB)", perDisk, 8) && good;
}

bool measure(fs::path const & agent) {
   std::vector<double> ready;
   std::vector<Figures> figures;
   {
      SimulatedUnit unit;
      addFiveDisks(unit);
      Program const subject = agentOf(agent, unit);
      ready = medianStarts({agentWithoutTools(agent, unit), subject, smartd(unit), nodeExporter()}, unit);
      figures = measureBesideEachOther({subject, smartd(unit), nodeExporter()}, unit);
   }
   printStarts(ready);
   printFigures(figures);
   return compare(ready[0], figures[0], figures[1], memoryWithManyDisks(agent));
}

}  // namespace

int main(int argc, char ** argv) {
   if (argc != 2) {
      std::fprintf(stderr, "usage: footprint_bench AGENT\n");
      return 2;
   }
   try {
      return measure(argv[1]) ? 0 : 1;
   } catch (std::exception const & error) {
      std::fprintf(stderr, "%s\n", error.what());
      return 1;
   }
}
