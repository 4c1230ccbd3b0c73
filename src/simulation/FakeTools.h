// Fake hdparm, nvme and smartctl programs with configured outputs.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace StorageDevices::Simulation {

enum class Tool { hdparm, nvmeList, nvmeSmartLog, smartctl };

// Each prints a file of DATA, which is $SIMULATION_TOOL_DATA or, without it, the folder given here:
//    hdparm -I /dev/NAME                                 hdparm/NAME
//    nvme list -o json /dev/NAME                         nvme-list/NAME.json
//    nvme smart-log --output-format=json /dev/NAME       nvme-smart-log/NAME.json
//    smartctl --json=c --offlineauto=on -HA [-d scsi] /dev/NAME    smartctl/NAME.json
// Without its file a tool fails like the real one for a missing device. Changes apply to runs that start
// later.
//
// A name is a kernel name, such as sda. An empty one or one with a slash throws std::invalid_argument.
class FakeTools {
 public:
   // Writes the programs to `folder`/bin, their data to `folder`/data.
   explicit FakeTools(std::filesystem::path folder);

   // The folder to put before PATH.
   std::filesystem::path path() const { return folder_ / "bin"; }
   std::filesystem::path data() const { return folder_ / "data"; }

   // The tool's output for the device; any bytes.
   void outputIs(Tool tool, std::string_view name, std::string_view text);
   void outputDel(Tool tool, std::string_view name);
   // Exit code after the output, 0 at first. Throws std::invalid_argument unless it is 0 to 255.
   void exitCodeIs(Tool tool, std::string_view name, int code);
   // Real seconds before the output; 0, the default: none.
   void delayIs(Tool tool, std::string_view name, double seconds);
   // A hanging tool prints nothing and never ends by itself.
   void hangsIs(Tool tool, std::string_view name, bool hangs);
   // Output, exit code, delay and hanging of the device, for all tools.
   void deviceDel(std::string_view name);

   // Command lines of all runs so far, oldest first, for example "hdparm -I /dev/sda".
   std::vector<std::string> runs() const;

 private:
   std::filesystem::path file(Tool tool, std::string_view name, std::string_view suffix) const;

   std::filesystem::path folder_;
};

struct HdparmIdentity {
   std::string name;  // kernel name
   std::string model;
   std::string serial;
   std::string firmware;
   std::uint64_t sectors = 0;
};

// The output of `hdparm -I` for a solid-state disk, version 9.65, without most of what no program reads.
std::string hdparmReport(HdparmIdentity const & identity);

struct NvmeIdentity {
   std::string name;  // kernel name
   std::string model;
   std::string serial;
   std::string firmware;
   std::uint64_t bytes = 0;
};

// The output of `nvme list -o json` for the drives, version 2.3.
std::string nvmeListDocument(std::vector<NvmeIdentity> const & drives);

}  // namespace StorageDevices::Simulation
