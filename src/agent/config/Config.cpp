#include "agent/config/Config.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <utility>

#include "agent/config/ConfigNesting.h"
#include "agent/config/ConfigValue.h"
#include "base/Text.h"
#include "base/UnixAddress.h"
#include "runtime/host/Trace.h"

namespace Agent {

namespace {

std::string socketPath(ConfigValue const & value) {
   std::string path = value.absolutePath();
   if (path.size() > Base::UnixAddress::longestPath)
      value.fail("must be at most " + std::to_string(Base::UnixAddress::longestPath) +
                 " bytes long, the limit for a socket, not " + std::to_string(path.size()));
   return path;
}

std::string mountName(ConfigValue const & value) {
   std::string name = value.nonEmptyText();
   if (name.find_first_of("/ ") != std::string::npos || name == "." || name == ".." || name.size() > 255)
      value.fail("must be a mount name as in the appliance's blockdev file, without \"/\" or blanks, not " +
                 value.shown());
   return name;
}

std::vector<std::string> mountNames(ConfigValue const & value) {
   std::vector<std::string> names;
   value.forEachElement([&names](ConfigValue const & element) {
      std::string name = mountName(element);
      for (std::string const & earlier : names)
         if (earlier == name)
            element.fail("must not name " + element.shown() + " twice");
      names.push_back(std::move(name));
   });
   return names;
}

std::string toolPath(ConfigValue const & value) {
   std::string path = value.text();
   bool directoryStarts = true;
   for (char const c : path.empty() ? std::string{} : path + ":") {
      if (directoryStarts && c != '/')
         value.fail("must be absolute directories with colons between them, or empty, not " + value.shown());
      directoryStarts = c == ':';
   }
   return path;
}

std::map<std::string, std::uint8_t> exitBits(ConfigValue const & value) {
   std::map<std::string, std::uint8_t> bitsOf;
   value.forEachEntry([&bitsOf](std::string const & tool, ConfigValue const & bits) {
      if (std::find(std::begin(toolNames), std::end(toolNames), tool) == std::end(toolNames))
         bits.fail("is set for no tool that is run; these are " +
                   listed({std::begin(toolNames), std::end(toolNames)}));
      unsigned mask = 0;
      bits.forEachElement([&mask](ConfigValue const & bit) {
         mask |=
             1U << static_cast<unsigned>(bit.wholeNumberWithin(0, 7, "must be the number of a bit, 0 to 7"));
      });
      bitsOf[tool] = static_cast<std::uint8_t>(mask);
   });
   return bitsOf;
}

std::optional<Base::HttpAddress> httpAddress(ConfigValue const & value) {
   std::string const text = value.text();
   if (text.empty())
      return std::nullopt;
   auto address = Base::parseHttpAddress(text);
   if (!address.has_value())
      value.fail(
          "must be empty or a numeric address and a port, such as \"127.0.0.1:9634\" or \"[::1]:9634\", "
          "not " +
          value.shown());
   return address;
}

std::string groupName(ConfigValue const & value) {
   constexpr std::size_t longest = 32;
   std::string name = value.text();
   if (name.size() > longest || name.find_first_of(":/ ") != std::string::npos || name.starts_with('-'))
      value.fail("must be the name of a group, or empty, not " + value.shown());
   return name;
}

LogDestination logDestination(ConfigValue const & value) {
   std::string const text = value.text();
   if (text == "auto")
      return LogDestination::automatic;
   if (text == "journal")
      return LogDestination::journal;
   if (text == "syslog")
      return LogDestination::syslog;
   if (text == "stderr")
      return LogDestination::standardError;
   value.fail("must be \"auto\", \"journal\", \"syslog\" or \"stderr\", not " + value.shown());
}

// Reads the document once, section by section. Conditions across sections are checked at the end.
class ConfigReader {
 public:
   Config read(ConfigValue const & root) {
      root.members({{"poll_interval", [this](auto const & v) { config_.pollInterval = pollInterval(v); }},
                    {"appliance", [this](auto const & v) { readAppliance(v); }},
                    {"sensors", [this](auto const & v) { readSensors(v); }},
                    {"tools", [this](auto const & v) { readTools(v); }},
                    {"kernel_messages", [this](auto const & v) { readKernelMessages(v); }},
                    {"status", [this](auto const & v) { readStatus(v); }},
                    {"log", [this](auto const & v) { readLog(v); }},
                    {"history", [this](auto const & v) { readHistory(v); }},
                    {"verdict", [this](auto const & v) { readVerdict(v); }},
                    {"trace", [this](auto const & v) { readTrace(v); }},
                    {"clock", [this](auto const & v) { readClock(v); }}});
      checkSensorUses();
      checkSockets();
      return std::move(config_);
   }

 private:
   static std::int64_t pollInterval(ConfigValue const & value) {
      return value.wholeNumberWithin(1, INT64_MAX, "must be a whole number of seconds, 1 or more");
   }

   void readAppliance(ConfigValue const & section) {
      auto & appliance = config_.appliance;
      section.members(
          {{"etc_dir", [&](auto const & v) { appliance.etcDir = v.absolutePath(); }},
           {"expected_mounts", [&](auto const & v) { appliance.expectedMounts = mountNames(v); }},
           {"mount_source_dir", [&](auto const & v) { appliance.mountSourceDir = v.absolutePath(); }},
           {"sensors", [&](auto const & v) { readSensorUses(v); }}});
   }

   void readSensorUses(ConfigValue const & section) {
      section.forEachEntry([this](std::string const & serial, ConfigValue const & value) {
         config_.appliance.sensors[serial] = value.nonEmptyText();
         sensorUses_.push_back(value);
      });
   }

   void readSensors(ConfigValue const & section) {
      section.forEachEntry([this](std::string const & name, ConfigValue const & value) {
         config_.sensors[name] = readSensor(value);
      });
   }

   static Config::Sensor readSensor(ConfigValue const & section) {
      Config::Sensor sensor;
      bool hasOverheat = false;
      bool hasCritical = false;
      auto const degrees = [](ConfigValue const & value, bool & has) {
         has = true;
         return value.number(-273.15, 1000, "must be a number of degrees Celsius, -273.15 to 1000");
      };
      section.members({{"description", [&](auto const & v) { sensor.description = v.text(); }},
                       {"overheat", [&](auto const & v) { sensor.overheat = degrees(v, hasOverheat); }},
                       {"critical", [&](auto const & v) { sensor.critical = degrees(v, hasCritical); }}});
      if (!hasOverheat || !hasCritical)
         section.fail("needs both overheat and critical, in degrees Celsius");
      if (sensor.overheat >= sensor.critical)
         section.fail("overheat must be below critical");
      return sensor;
   }

   void readTools(ConfigValue const & section) {
      auto & tools = config_.tools;
      auto const seconds = [](ConfigValue const & value) {
         return value.number(0, 86400, "must be a number of seconds, 0 (no limit) to 86400");
      };
      section.members({{"timeout", [&](auto const & v) { tools.timeout = seconds(v); }},
                       {"path", [&](auto const & v) { tools.path = toolPath(v); }},
                       {"accept_exit_bits", [&](auto const & v) { tools.acceptExitBits = exitBits(v); }},
                       {"nvme_compat", [&](auto const & v) { tools.nvmeCompat = v.boolean(); }}});
   }

   void readKernelMessages(ConfigValue const & section) {
      auto & kernel = config_.kernelMessages;
      section.members({{"socket",
                        [&](auto const & v) {
                           kernel.socket = socketPath(v);
                           socketUses_.push_back(v);
                        }},
                       {"forward_kmsg", [&](auto const & v) { kernel.forwardKmsg = v.boolean(); }},
                       {"modern_kernels", [&](auto const & v) { kernel.modernKernels = v.boolean(); }}});
   }

   void readStatus(ConfigValue const & section) {
      auto & status = config_.status;
      std::optional<ConfigValue> http;
      section.members({{"socket",
                        [&](auto const & v) {
                           status.socket = socketPath(v);
                           socketUses_.push_back(v);
                        }},
                       {"http",
                        [&](auto const & v) {
                           status.http = httpAddress(v);
                           http = v;
                        }},
                       {"allow_remote", [&](auto const & v) { status.allowRemote = v.boolean(); }},
                       {"socket_group", [&](auto const & v) { status.socketGroup = groupName(v); }}});
      if (status.http.has_value() && !status.http->loopback() && !status.allowRemote)
         http->fail(
             "can be reached from other machines: set allow_remote = true beside it if that is wanted, "
             "else use 127.0.0.1");
   }

   void readLog(ConfigValue const & section) {
      section.members({{"destination", [&](auto const & v) { config_.logDestination = logDestination(v); }}});
   }

   void readHistory(ConfigValue const & section) {
      auto & history = config_.history;
      section.members({{"hours",
                        [&](auto const & v) {
                           history.hours = v.number(0, 8760, "must be a number of hours, 0 to 8760");
                        }},
                       {"file", [&](auto const & v) {
                           history.file = v.text().empty() ? std::string{} : v.absolutePath();
                        }}});
   }

   void readVerdict(ConfigValue const & section) {
      auto & verdict = config_.verdict;
      auto const percent = [](ConfigValue const & value) {
         return value.number(0, 100, "must be a percentage of the rated life, 0 to 100");
      };
      section.members({{"life_warning", [&](auto const & v) { verdict.lifeWarning = percent(v); }},
                       {"life_failing", [&](auto const & v) { verdict.lifeFailing = percent(v); }}});
      if (verdict.lifeFailing > verdict.lifeWarning)
         section.fail("life_failing must not be above life_warning");
   }

   void readTrace(ConfigValue const & section) {
      auto const known = Vorn::Host::traceFacilities();
      section.forEachEntry([&](std::string const & facility, ConfigValue const & level) {
         if (std::find(known.begin(), known.end(), facility) == known.end())
            level.fail("is no trace facility; these are " + listed({known.begin(), known.end()}));
         config_.trace[facility] = static_cast<int>(
             level.wholeNumberWithin(0, 9, "must be a trace level, a whole number from 0 to 9"));
      });
   }

   void readClock(ConfigValue const & section) {
      section.members({{"time_scale", [&](auto const & v) {
                           config_.timeScale =
                               v.number(0.001, 100000, "must be a number from 0.001 to 100000");
                        }}});
   }

   // A drive whose sensor has no section would have no temperature alarm.
   void checkSensorUses() const {
      for (ConfigValue const & use : sensorUses_)
         if (!config_.sensors.contains(use.text()))
            use.fail("names the sensor " + use.shown() +
                     ", which has no [sensors.…] section: add one with description, overheat and critical");
   }

   // Two sockets with one path would replace each other.
   void checkSockets() const {
      auto const place = [](std::string const & path) {
         return std::filesystem::path{path}.lexically_normal();
      };
      if (place(config_.kernelMessages.socket) == place(config_.status.socket))
         socketUses_.back().fail("must not be both status.socket and kernel_messages.socket");
   }

   Config config_;
   std::vector<ConfigValue> sensorUses_;
   std::vector<ConfigValue> socketUses_;
};

}  // namespace

Config parseConfig(std::string_view text, std::string const & fileName) {
   if (text.size() > maxConfigSize)
      throw ConfigError{Base::escaped(fileName) + ": must not be larger than 1 MiB"};
   if (auto const line = tooDeepConfigLine(text))
      throw ConfigError{Base::escaped(fileName) + ":" + std::to_string(*line) + ": is nested too deeply"};
   ConfigDocument const document{text, fileName};
   return ConfigReader{}.read(document.root());
}

}  // namespace Agent
