#include "demo/AgentConfig.h"

// The demo only writes TOML.
// NOLINTNEXTLINE(cppcoreguidelines-macro-usage)
#define TOML_ENABLE_PARSER 0
#include <toml++/toml.h>

#include <sstream>

#include "demo/Cast.h"
#include "demo/Story.h"
#include "simulation/TextFile.h"

namespace Agent::Demo {

namespace {

toml::table applianceTable(Simulation::SimulatedUnit const & unit) {
   toml::array mounts;
   for (auto const & mount : expectedMounts())
      mounts.push_back(mount);
   return toml::table{{"etc_dir", unit.etcFolder().string()},
                      {"expected_mounts", mounts},
                      {"mount_source_dir", (unit.folder() / "mount-source").string()},
                      {"sensors", toml::table{{flashSerial, "DriveTemp1"}}}};
}

toml::table sensorsTable() {
   return toml::table{
       {"DriveTemp1", toml::table{{"description", "SATA disk"}, {"overheat", 55.0}, {"critical", 70.0}}}};
}

toml::table statusTable(std::filesystem::path const & socket, Options const & options) {
   toml::table status{{"socket", socket.string()}};
   if (!options.http.empty())
      status.insert("http", options.http);
   return status;
}

}  // namespace

std::filesystem::path kernelSocket(StorageDevices::Simulation::SimulatedUnit const & unit) {
   return unit.folder() / "kernel.sock";
}

AgentConfig writeAgentConfig(StorageDevices::Simulation::SimulatedUnit const & unit,
                             Options const & options) {
   auto const & folder = unit.folder();
   std::filesystem::create_directories(folder / "mount-source");
   AgentConfig config{folder / "demo.toml", folder / "status.sock"};
   std::string mounts;
   for (auto const & mount : expectedMounts())
      mounts += (mounts.empty() ? "" : ", ") + quoted(mount);
   std::string text = "poll_interval = 60\n\n[appliance]\n";
   text += "etc_dir = " + quoted(unit.etcFolder()) + "\n";
   text += "expected_mounts = [" + mounts + "]\n";
   text += "mount_source_dir = " + quoted(folder / "mount-source") + "\n";
   text += "\n[appliance.sensors]\n" + std::string(flashSerial) + " = \"DriveTemp1\"\n";
   text += "\n[sensors.DriveTemp1]\ndescription = \"SATA disk\"\noverheat = 55.0\ncritical = 70.0\n";
   text += "\n[tools]\ntimeout = 3\npath = " + quoted(unit.toolsPath()) + "\n";
   text += "\n[kernel_messages]\nsocket = " + quoted(kernelSocket(unit)) + "\nforward_kmsg = false\n";
   text += "\n[status]\nsocket = " + quoted(config.statusSocket) + "\n";
   if (!options.http.empty())
      text += "http = " + quoted(options.http) + "\n";
   text += "\n[log]\ndestination = \"stderr\"\n";
   text += "\n[clock]\ntime_scale = " + number(options.timeScale) + "\n";
   StorageDevices::Simulation::textFileIs(config.file, text);
   return config;
}

}  // namespace Agent::Demo
