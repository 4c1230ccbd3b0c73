#include "demo/AgentConfig.h"

#include <iomanip>
#include <sstream>

#include "demo/Cast.h"
#include "demo/Story.h"
#include "simulation/TextFile.h"

namespace Agent::Demo {

namespace {

// A path as TOML's basic string.
std::string quoted(std::string const & text) {
   static constexpr std::string_view digits = "0123456789abcdef";
   std::string result = "\"";
   for (char const c : text) {
      auto const byte = static_cast<unsigned char>(c);
      if (c == '"' || c == '\\')
         result.append(1, '\\').append(1, c);
      else if (byte < 0x20 || byte == 0x7f)
         result.append("\\u00").append(1, digits[byte >> 4U]).append(1, digits[byte & 15U]);
      else
         result += c;
   }
   return result + '"';
}

// TOML wants a point in a floating-point number.
std::string number(double value) {
   std::ostringstream text;
   text.imbue(std::locale::classic());
   text << std::fixed << std::setprecision(3) << value;
   return text.str();
}

}  // namespace

std::filesystem::path kernelSocket(Simulation::SimulatedUnit const & unit) {
   return unit.folder() / "kernel.sock";
}

AgentConfig writeAgentConfig(Simulation::SimulatedUnit const & unit, Options const & options) {
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
   Simulation::textFileIs(config.file, text);
   return config;
}

}  // namespace Agent::Demo
