// A test of the host: it runs on a simulated unit with a drive that is failing and a mount point without one.
// Start it through umockdev-wrapper.

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "simulation/SimulatedUnit.h"

namespace {

using namespace StorageDevices::Simulation;

void addFailingDrive(SimulatedUnit & unit) {
   Disk const disk = sataDisk("sda", 1, "UDEV-A", "Test Disk", 500118192);
   unit.add(disk);
   unit.tools().outputIs(Tool::hdparm, "sda", hdparmReport({"sda", "Test Disk", "SN-A", "F1", 500118192}));
   DriveHealth health;
   health.passed = false;
   unit.healthIs(disk, health);
   unit.fileSystems().mountIs("drive", "sda1");
}

// Its output, and last its exit code.
std::string outputOf(std::string const & command) {
   FILE * const pipe = popen(command.c_str(), "r");
   std::string text;
   std::array<char, 4096> buffer{};
   while (std::size_t const count = std::fread(buffer.data(), 1, buffer.size(), pipe))
      text.append(buffer.data(), count);
   return text + "exit code " + std::to_string(WEXITSTATUS(pclose(pipe))) + "\n";
}

}  // namespace

int main() {
   SimulatedUnit unit;
   unit.blockdevIs({{".*/ata1/", "drive"}, {".*/ata2/", "flash"}});
   addFailingDrive(unit);
   for (auto const & [name, value] : unit.environment())
      setenv(name.c_str(), value.c_str(), 1);
   setenv("PATH", (unit.toolsPath().string() + ":" + std::getenv("PATH")).c_str(), 1);
   std::string const output = outputOf(HEALTH_HOST " " + unit.etcFolder().string() + " 300");
   std::cout << output;
   std::string const tested = unit.fileSystems().supportDirectIo() ? ": stores data\n" : ": fails its test\n";
   for (std::string const & line :
        {std::string{"SN-A: Test Disk at /mnt/drive\n"}, std::string{"SN-A: failed its self-assessment\n"},
         std::string{"SN-A: 34 degrees Celsius\n"}, "/mnt/drive" + tested, std::string{"exit code 0\n"},
         std::string{"Instantiating state machine for /mnt/drive\n"},
         std::string{"STORAGEDEVICE_DETECTION_ERROR: "}})
      if (output.find(line) == std::string::npos) {
         std::cerr << "missing: " << line;
         return 1;
      }
   return 0;
}
