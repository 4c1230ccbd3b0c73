#include "demo/AgentConfig.h"

// The demo only writes TOML.
// NOLINTNEXTLINE(cppcoreguidelines-macro-usage)
#define TOML_ENABLE_PARSER 0
#include <toml++/toml.h>

#include <sstream>

#include "demo/Cast.h"
#include "demo/Story.h"
#include "simulation/TextFile.h"

namespace Demo {

namespace {

toml::table applianceTable(StorageDevices::Simulation::SimulatedUnit const & unit) {
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
   toml::table const table{
       {"poll_interval", 60},
       {"appliance", applianceTable(unit)},
       {"sensors", sensorsTable()},
       {"tools", toml::table{{"timeout", 3}, {"path", unit.toolsPath().string()}}},
       {"kernel_messages", toml::table{{"socket", kernelSocket(unit).string()}, {"forward_kmsg", false}}},
       {"status", statusTable(config.statusSocket, options)},
       {"log", toml::table{{"destination", "stderr"}}},
       {"history", toml::table{{"file", (folder / "history").string()}}},
       {"clock", toml::table{{"time_scale", options.timeScale}}}};
   std::ostringstream text;
   text << table << "\n";
   StorageDevices::Simulation::textFileIs(config.file, text.str());
   return config;
}

}  // namespace Demo
