#include "tests/faults/Appliance.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "base/Spawn.h"

namespace Faults {

namespace Simulation = StorageDevices::Simulation;

namespace {

std::size_t childrenOf(pid_t process) {
   std::istringstream in{Support::fileContent("/proc/" + std::to_string(process) + "/task/" +
                                              std::to_string(process) + "/children")};
   return static_cast<std::size_t>(
       std::distance(std::istream_iterator<pid_t>{in}, std::istream_iterator<pid_t>{}));
}

// Waits until the new process has the descriptor, and takes a copy of it.
Base::UniqueFd takenFrom(pid_t process, int number) {
   Base::UniqueFd const handle{static_cast<int>(syscall(SYS_pidfd_open, process, 0))};
   constexpr int attempts = 5000;
   for (int attempt = 0; attempt < attempts; ++attempt) {
      Base::UniqueFd taken{static_cast<int>(syscall(SYS_pidfd_getfd, handle.get(), number, 0))};
      if (taken)
         return taken;
      usleep(1000);
   }
   throw std::runtime_error{"the kernel offers no seccomp notifier"};
}

}  // namespace

Appliance::Appliance() {
   prctl(PR_SET_CHILD_SUBREAPER, 1);
   unit.blockdevIs({{".*/ata1/", "drive"}, {".*/mmc", "flash"}, {".*/nvme/", "drive2"}, {".*/usb", "usb1"}});
   addDisks();
   configure();
}

void Appliance::addDisks() {
   constexpr std::uint64_t sectors = 500118192;
   auto const sata = Simulation::sataDisk("sda", 1, "UDEV-SN-A", "Test Disk", sectors);
   auto const nvme = Simulation::nvmeDrive("nvme0n1", "SN-N", "Test Drive", sectors);
   auto const emmc = Simulation::emmcDevice("mmcblk0", "150100424a544434520a1b2c3d4e5f00", sectors);
   for (auto const & disk : {sata, nvme, emmc}) {
      unit.add(disk);
      unit.healthIs(disk, {});
   }
   unit.tools().outputIs(Simulation::Tool::hdparm, "sda",
                         Simulation::hdparmReport({"sda", "Test Disk", "SN-A", "F1", sectors}));
   unit.tools().outputIs(
       Simulation::Tool::nvmeList, "nvme0n1",
       Simulation::nvmeListDocument({{"nvme0n1", "Test Drive", "SN-N", "F2", sectors * 512}}));
   unit.fileSystems().mountIs("drive", "sda1");
   unit.fileSystems().mountIs("flash", "mmcblk0p1");
}

void Appliance::configure() const {
   folder.write("agent.toml",
                "poll_interval = 90\n[appliance]\nexpected_mounts = [\"drive\", \"flash\"]\netc_dir = \"" +
                    unit.etcFolder().string() + "\"\nmount_source_dir = \"" + folder.string() +
                    "/mount-source\"\n[tools]\ntimeout = 3\npath = \"" + unit.toolsPath().string() +
                    "\"\n[kernel_messages]\nforward_kmsg = false\nsocket = \"" + kernelSocket() +
                    "\"\n[history]\nfile = \"" + folder.string() + "/history\"\n[status]\nsocket = \"" +
                    socket() + "\"\n[clock]\ntime_scale = 60\n[log]\ndestination = \"stderr\"\n");
}

Supervisor::Replacements Appliance::replacements() const {
   return {{unit.environment().at("STORAGEDEVICES_SIMULATED_ROOT"), "ROOT"},
           {unit.environment().at("UMOCKDEV_DIR"), "UNIT"},
           {unit.folder().string(), "UNIT"},
           {folder.string(), "FOLDER"}};
}

AgentRun::AgentRun(Appliance const & appliance, std::optional<Fault> const & fault, unsigned long allocation)
    : appliance_{appliance}, environment_{appliance.unit.environment()} {
   if (allocation > 0) {
      environment_["LD_PRELOAD"] += std::string{":"} + FAILING_NEW;
      environment_["FAULTS_ALLOCATION"] = std::to_string(allocation);
      environment_["FAULTS_REPORT"] = appliance.folder.string() + "/allocation";
   }
   std::filesystem::remove(appliance.folder.path() / "allocation");
   std::array<int, 2> numberPipe{};
   if (pipe2(numberPipe.data(), O_CLOEXEC) != 0)
      throw std::runtime_error{"no pipe"};
   Base::UniqueFd const in{numberPipe[0]};
   Base::UniqueFd out{numberPipe[1]};
   pid_ = fork();
   if (pid_ == 0)
      becomeAgent(out.get());
   out.reset();
   int number = -1;
   if (pid_ < 0 || read(in.get(), &number, sizeof number) != sizeof number)
      throw std::runtime_error{"no process"};
   supervisor_ = std::make_unique<Supervisor>(pid_, takenFrom(pid_, number), fault, appliance.replacements());
}

void AgentRun::becomeAgent(int numberPipe) const {
   prctl(PR_SET_PDEATHSIG, SIGKILL);
   std::string const log = appliance_.folder.string() + "/log";
   int const file = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
   dup2(file, STDOUT_FILENO);
   dup2(file, STDERR_FILENO);
   std::vector<std::string> arguments{AGENT_DAEMON, "--config", appliance_.folder.string() + "/agent.toml"};
   auto environment = Base::environmentWith(environment_);
   auto const argumentPointers = Base::textPointers(arguments);
   auto const environmentPointers = Base::textPointers(environment);
   int const number = dup(STDIN_FILENO);
   close(number);
   if (write(numberPipe, &number, sizeof number) == sizeof number && askBeforeEachCall() == number)
      execve(AGENT_DAEMON, argumentPointers.data(), environmentPointers.data());
   _exit(127);
}

AgentRun::~AgentRun() {
   if (running())
      kill(pid_, SIGKILL);
   endsWithin(std::chrono::seconds{10});
   supervisor_.reset();
   while (waitpid(-1, nullptr, WNOHANG) > 0)
      continue;
}

bool AgentRun::running() {
   if (pid_ > 0 && waitpid(pid_, &status_, WNOHANG) == pid_)
      pid_ = -1;
   return pid_ > 0;
}

bool AgentRun::endsWithin(std::chrono::milliseconds time) {
   constexpr std::chrono::milliseconds pause{5};
   for (auto left = time; running() && left.count() > 0; left -= pause)
      usleep(5000);
   return !running();
}

std::string AgentRun::log() const {
   return Support::fileContent(appliance_.folder.path() / "log");
}

bool AgentRun::hasFailedOne() const {
   return supervisor_->hasFailedOne() ||
          !Support::fileContent(appliance_.folder.path() / "allocation").empty();
}

std::size_t AgentRun::descriptors() const {
   std::error_code error;
   std::size_t count = 0;
   for (std::filesystem::directory_iterator entry{"/proc/" + std::to_string(pid_) + "/fd", error}, end;
        !error && entry != end; entry.increment(error))
      ++count;
   return count;
}

std::size_t AgentRun::children() const {
   return pid_ > 0 ? childrenOf(pid_) : childrenOf(getpid());
}

}  // namespace Faults
