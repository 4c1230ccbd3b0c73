// Discovery on a simulated unit. Its cost is to grow with the disks times the entries of blockdev that are
// tried for each. It is to be the cost of the programs that discovery must run. These are `expr`, once per
// disk and entry, and for a fixed disk its tool. The tool is minimal: a shell that prints a report. All tools
// run at once, beside the rest of the scan.
//
// Libudev's reading of a disk takes a fifth of a millisecond or more, in any program. That is more than a
// tenth of a single run of these programs. From four entries on it is less for fixed disks. With eight
// entries, as in an ordinary unit, it is less for removable ones too, for which only `expr` runs. A thousand
// tools at once cost the kernel more time each than 250; that is not discovery's cost.
//
// The preload that simulates a unit makes every access of /sys nearly twice as slow, and libudev reads it
// often. So the measurement uses no preload: its processes have a copy of the simulated /sys mounted over
// their own. This needs the right to make a mount namespace. The figures with the preload are shown beside.
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "DiscoveryProbe.h"
#include "Ratio.h"
#include "runtime/Vorn/Process.h"
#include "simulation/SimulatedUnit.h"
#include "tests/support/TempDir.h"

namespace {

using Bench::DiscoveryProbe;
using Bench::Rounds;
using Times = DiscoveryProbe::Times;
namespace fs = std::filesystem;

constexpr std::size_t few = 250;
constexpr std::size_t many = 1000;
constexpr std::size_t entryCounts[] = {1, 2, 4, 8};
constexpr char const * toolFolder = "tools";
constexpr std::size_t usualEntries = 8;
constexpr std::size_t fewestWithTools = 4;  // entries at which libudev is less than a tenth beside a tool

void run(std::vector<Pelm::String> const & command) {
   pid_t const pid = Vorn::spawnProcess(command, -1, dup(STDERR_FILENO), dup(STDERR_FILENO));
   if (pid < 0 || Brul::waitForProcess(pid) != 0)
      throw std::runtime_error(command[0].str() + " failed");
}

// A simulated unit that is only built up, and copied on the way. Its removal would take longer than all
// measurements.
class UnitSource {
 public:
   void copyTo(fs::path const & copy, std::size_t disks) {
      for (; disks_ < disks; ++disks_)
         addDisk();
      fs::create_directories(copy / "etc");
      writeTool(copy / toolFolder);
      run({"cp", "-a", (root() / "sys").c_str(), copy.c_str()});
   }
   fs::path root() const { return unit_.environment().at("UMOCKDEV_DIR"); }

 private:
   void addDisk() {
      std::string const number = std::to_string(disks_);
      unit_.add(StorageDevices::Simulation::nvmeDrive("nvme" + number + "n1", "BENCH" + number, "Drive",
                                                      31'250'000));
   }

   // Answers a serial number of its own for every disk.
   static void writeTool(fs::path const & folder) {
      fs::create_directories(folder);
      fs::path const program = folder / "nvme";
      std::ofstream{program} << R"(#!/bin/sh
printf '{"Devices":[{"DevicePath":"%s","ModelNumber":")"
                             << Bench::reportedModel
                             << R"(","SerialNumber":"%s","Firmware":"1.0",' "$4" "${4##*/}"
printf '"PhysicalSize":16000000000}]}'
)";
      fs::permissions(program, fs::perms::owner_all);
   }

   StorageDevices::Simulation::SimulatedUnit & unit_ =
       *new StorageDevices::Simulation::SimulatedUnit;  // never removed
   std::size_t disks_ = 0;
};

struct Request {
   enum : int { removable, fixed, libudev } of;  // discovery of such disks, or the time of libudev alone
   std::size_t entries;
};

// The measuring process.
namespace Measuring {

void sysIs(fs::path const & sys) {
   if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
      throw std::runtime_error("no right to make a mount namespace");
   if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
       mount(sys.c_str(), "/sys", nullptr, MS_BIND, nullptr) != 0)
      throw std::runtime_error(std::string{"cannot mount over /sys: "} + std::strerror(errno));
   setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);
}

// A tool that runs takes three.
void allowDescriptors() {
   rlimit limit{};
   if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < 4 * many) {
      limit.rlim_cur = limit.rlim_max;
      setrlimit(RLIMIT_NOFILE, &limit);
   }
}

int serve(fs::path const & unit, std::size_t disks) {
   if (std::getenv("LD_PRELOAD"))
      unsetenv("LD_PRELOAD");  // done its work here; the programs are to run without
   else
      sysIs(unit / "sys");
   allowDescriptors();
   DiscoveryProbe probe{unit / "etc", unit / toolFolder, disks};
   for (Request request{}; read(STDIN_FILENO, &request, sizeof request) == sizeof request;) {
      probe.entriesIs(request.entries);
      using Kind = DiscoveryProbe::Kind;
      Times const times = request.of == Request::libudev
                              ? Times{probe.udev(), 0}
                              : probe.discovery(request.of == Request::fixed ? Kind::fixed : Kind::removable);
      if (write(STDOUT_FILENO, &times, sizeof times) != sizeof times)
         return 1;
   }
   return 0;
}

}  // namespace Measuring

// A measuring process seen from here. All times are per disk and entry.
class Probe {
 public:
   Probe(fs::path const & unit, std::size_t disks) : disks_{disks} {
      int ends[2];
      if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
         throw std::runtime_error("cannot make a socket pair");
      pid_ = Vorn::spawnProcess(
          {"/proc/self/exe", "--measure", unit.c_str(), Pelm::String{std::to_string(disks)}}, ends[1],
          ends[1], dup(STDERR_FILENO));
      socket_ = ends[0];
   }
   Probe(Probe const &) = delete;
   Probe & operator=(Probe const &) = delete;
   ~Probe() {
      close(socket_);
      Brul::waitForProcess(pid_);
   }

   Times discovery(std::size_t entries) const { return ask({Request::removable, entries}); }
   Times discoveryOfFixed(std::size_t entries) const { return ask({Request::fixed, entries}); }
   double udev(std::size_t entries) const { return ask({Request::libudev, entries}).all; }

 private:
   Times ask(Request request) const {
      Times times;
      if (write(socket_, &request, sizeof request) != sizeof request ||
          read(socket_, &times, sizeof times) != sizeof times)
         throw std::runtime_error("a measuring process has ended");
      auto const runs = static_cast<double>(disks_ * request.entries);
      return {times.all / runs, times.programs / runs};
   }

   std::size_t disks_;
   pid_t pid_;
   int socket_;
};

constexpr int roundCount = 7;

void compare(Bench::Report & report, Probe const & fewDisks, Probe const & manyDisks, std::size_t entries) {
   enum : std::size_t {
      discovery,
      programs,
      udev,
      both,
      discoveryOfFew,
      fixed,
      fixedPrograms,
      fixedBoth,
      fewFixed,
      fewGrown
   };
   Rounds rounds;
   for (int round = 0; round < roundCount; ++round) {
      Times const times = manyDisks.discovery(entries);
      rounds.add(discovery, times.all);
      rounds.add(programs, times.programs);
      double const asking = manyDisks.udev(entries);
      rounds.add(udev, asking);
      rounds.add(both, times.programs + asking);
      rounds.add(discoveryOfFew, fewDisks.discovery(entries).all);
      Times const fixedTimes = manyDisks.discoveryOfFixed(entries);
      rounds.add(fixed, fixedTimes.all);
      rounds.add(fixedPrograms, fixedTimes.programs);
      rounds.add(fixedBoth, fixedTimes.programs + asking);
      Times const fewTimes = fewDisks.discoveryOfFixed(entries);
      rounds.add(fewFixed, fewTimes.all);
      rounds.add(fewGrown, fewTimes.all * fixedTimes.programs / fewTimes.programs);
   }
   constexpr double nineTenths = 0.9;
   std::string const name = "discovery: " + std::to_string(entries) + (entries == 1 ? " entry" : " entries");
   report.claim(name + ", 1000 disks beside 250", rounds, discovery, discoveryOfFew, 1.25);
   if (entries >= usualEntries)
      report.claim(name + ", all of it beside expr alone", rounds, discovery, programs, 1 / nineTenths);
   else
      Bench::Report::note(name + ", all of it beside expr alone", rounds, discovery, programs);
   report.claim(name + ", all of it beside expr and libudev", rounds, discovery, both, 1 / nineTenths);
   Bench::Report::note(name + ", libudev beside all of it", rounds, udev, discovery);
   Bench::Report::note(name + ", fixed, 1000 disks beside 250", rounds, fixed, fewFixed);
   report.claim(name + ", fixed, 1000 disks beside 250 as programs grow", rounds, fixed, fewGrown, 1.25);
   report.claim(name + ", fixed, all of it beside programs and libudev", rounds, fixed, fixedBoth,
                1 / nineTenths);
   if (entries >= fewestWithTools)
      report.claim(name + ", fixed, all of it beside expr and tools", rounds, fixed, fixedPrograms,
                   1 / nineTenths);
   else
      Bench::Report::note(name + ", fixed, all of it beside expr and tools", rounds, fixed, fixedPrograms);
}

void showPreload(Probe const & plain, Probe const & preloaded) {
   enum : std::size_t { udev, preloadedUdev, discovery, programs };
   Rounds rounds;
   for (int round = 0; round < roundCount; ++round) {
      rounds.add(udev, plain.udev(1));
      rounds.add(preloadedUdev, preloaded.udev(1));
      Times const times = preloaded.discovery(1);
      rounds.add(discovery, times.all);
      rounds.add(programs, times.programs);
   }
   Bench::Report::note("discovery: libudev under the preload, beside without", rounds, preloadedUdev, udev);
   Bench::Report::note("discovery: 1 entry under the preload, beside expr alone", rounds, discovery,
                       programs);
}

int measure(fs::path const & folder, std::string const & preload) {
   setenv("LD_PRELOAD", preload.c_str(), 1);
   setenv("UMOCKDEV_DIR", (folder / "many").c_str(), 1);
   Probe const preloaded{folder / "many", many};
   unsetenv("LD_PRELOAD");
   unsetenv("UMOCKDEV_DIR");
   Probe const fewDisks{folder / "few", few};
   Probe const manyDisks{folder / "many", many};
   Bench::Report report;
   for (std::size_t const entries : entryCounts)
      compare(report, fewDisks, manyDisks, entries);
   showPreload(manyDisks, preloaded);
   return report.exitCode();
}

// The folders go whatever happens; the program that removes the unit's runs without the preload.
int measureInFolder(std::string const & preload) {
   std::signal(SIGPIPE, SIG_IGN);
   UnitSource source;
   unsetenv("LD_PRELOAD");
   Support::TempDir const folder;
   int exitCode = 2;
   try {
      source.copyTo(folder.path() / "few", few);
      source.copyTo(folder.path() / "many", many);
      exitCode = measure(folder.path(), preload);
   } catch (std::exception const & error) {
      std::fprintf(stderr, "discovery_bench: %s\n", error.what());
   }
   run({"rm", "-rf", source.root().c_str()});
   return exitCode;
}

}  // namespace

int main(int argc, char ** argv) {
   try {
      if (argc == 4 && std::string{argv[1]} == "--measure")
         return Measuring::serve(argv[2], std::stoul(argv[3]));
      char const * const preload = std::getenv("LD_PRELOAD");
      return measureInFolder(preload ? preload : "");
   } catch (std::exception const & error) {
      std::fprintf(stderr, "discovery_bench: %s\n", error.what());
      return 2;
   }
}
