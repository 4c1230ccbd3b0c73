#include "agent/config/Config.h"

#include <gtest/gtest.h>

#include <string>

#include "base/Text.h"
#include "runtime/host/Trace.h"
#include "tests/support/EveryKey.h"

namespace Agent {
namespace {

using Support::everyKey;
using Support::everyValue;

// The message with which a configuration is refused, or "accepted".
std::string configRefusal(std::string const & text) {
   try {
      parseConfig(text, "/etc/x.toml");
   } catch (ConfigError const & error) {
      return error.what();
   }
   return "accepted";
}

// Refusals of one section's line, without the place in front of them.
std::string refusalIn(std::string const & section, std::string const & line) {
   std::string const message = configRefusal("[" + section + "]\n" + line + "\n");
   std::string const place = "/etc/x.toml:2: ";
   return message.starts_with(place) ? message.substr(place.size()) : message;
}

TEST(ConfigTest, ReadsAnEmptyFileAsTheDefaults) {
   Config const config = parseConfig("", "x");
   EXPECT_EQ(config, Config{});
   EXPECT_EQ(config.pollInterval, 60);
   EXPECT_EQ(config.appliance.etcDir, "/etc");
   EXPECT_EQ(config.appliance.expectedMounts, (std::vector<std::string>{"flash", "drive"}));
   EXPECT_EQ(config.appliance.mountSourceDir, "/run/storagedevices/mount-source");
   EXPECT_EQ(config.tools.timeout, 60);
   EXPECT_EQ(config.tools.acceptExitBits, (std::map<std::string, std::uint8_t>{{"smartctl", 0b11111100}}));
   EXPECT_TRUE(config.tools.nvmeCompat);
   EXPECT_EQ(config.kernelMessages.socket, "/var/run/kernelmessages");
   EXPECT_TRUE(config.kernelMessages.forwardKmsg && config.kernelMessages.modernKernels);
   EXPECT_EQ(config.status.socket, "/run/storagedevices/status.sock");
   EXPECT_FALSE(config.status.http.has_value() || config.status.allowRemote);
   EXPECT_EQ(config.logDestination, LogDestination::automatic);
   EXPECT_EQ(config.timeScale, 1.0);
}

TEST(ConfigTest, ReadsEveryKey) {
   EXPECT_EQ(parseConfig(everyKey, "x"), everyValue());
}

TEST(ConfigTest, ReadsDottedKeysAndInlineTablesAlike) {
   Config const config = parseConfig(
       "tools.timeout = 2.5\n"
       "sensors = { A = { overheat = 1, critical = 2 } }\n"
       "appliance.sensors.SERIAL = 'A'\n",
       "x");
   EXPECT_EQ(config.tools.timeout, 2.5);
   EXPECT_EQ(config.sensors.at("A"), (Config::Sensor{"", 1, 2}));
   EXPECT_EQ(config.appliance.sensors.at("SERIAL"), "A");
}

TEST(ConfigTest, KeepsTheDefaultsOfAnEmptySection) {
   EXPECT_EQ(parseConfig("[appliance]\n[sensors]\n[tools]\n[kernel_messages]\n[status]\n[log]\n[history]\n["
                         "verdict]\n[trace]\n[clock]\n",
                         "x"),
             Config{});
}

TEST(ConfigTest, NamesFileLineKeyAndRemedyOfAnError) {
   EXPECT_EQ(configRefusal("\n\npoll_interval = 0\n"),
             "/etc/x.toml:3: poll_interval: must be a whole number of seconds, 1 or more, not 0");
   EXPECT_EQ(configRefusal("[tools]\n\ntimeout = \"60\""),
             "/etc/x.toml:3: tools.timeout: must be a number of seconds, 0 (no limit) to 86400, not \"60\"");
}

TEST(ConfigTest, RefusesUnknownKeysAtEveryLevel) {
   EXPECT_EQ(
       configRefusal("\npol_interval = 60"),
       "/etc/x.toml:2: pol_interval: is not a known key; the known keys here are poll_interval, appliance, "
       "sensors, tools, kernel_messages, status, log, history, verdict, trace and clock");
   EXPECT_EQ(refusalIn("log", "level = 3"),
             "log.level: is not a known key; the known keys here are destination");
   EXPECT_EQ(refusalIn("clock", "scale = 3"),
             "clock.scale: is not a known key; the known keys here are time_scale");
   for (char const * section : {"appliance", "tools", "kernel_messages", "status", "sensors.A"})
      EXPECT_TRUE(refusalIn(section, "nonsense = 1")
                      .starts_with(std::string{section} + ".nonsense: is not a known key"))
          << section;
   EXPECT_EQ(configRefusal("[unknown]\nx = 1").substr(0, 43), "/etc/x.toml:1: unknown: is not a known key;");
}

TEST(ConfigTest, RefusesASectionThatIsNoTable) {
   for (char const * section : {"appliance", "sensors", "tools", "kernel_messages", "status", "log",
                                "history", "verdict", "trace", "clock"})
      EXPECT_EQ(configRefusal(std::string{section} + " = 1"),
                "/etc/x.toml:1: " + std::string{section} + ": must be a table, not 1");
   EXPECT_EQ(refusalIn("sensors", "A = true"), "sensors.A: must be a table, not true");
   EXPECT_EQ(configRefusal("[[tools]]\n"), "/etc/x.toml:1: tools: must be a table, not an array");
}

TEST(ConfigTest, BoundsThePollInterval) {
   std::string const must =
       "/etc/x.toml:1: poll_interval: must be a whole number of seconds, 1 or more, not ";
   EXPECT_EQ(parseConfig("poll_interval = 1", "x").pollInterval, 1);
   EXPECT_EQ(parseConfig("poll_interval = 604801", "x").pollInterval, 604801);
   EXPECT_EQ(configRefusal("poll_interval = -5"), must + "-5");
   EXPECT_EQ(configRefusal("poll_interval = 1.5"), must + "1.5");
   EXPECT_EQ(configRefusal("poll_interval = true"), must + "true");
   EXPECT_EQ(configRefusal("poll_interval = [60]"), must + "an array");
   EXPECT_EQ(configRefusal("poll_interval = 2026-11-20"), must + "2026-11-20");
}

TEST(ConfigTest, RequiresAbsoluteDirectories) {
   for (char const * key : {"etc_dir", "mount_source_dir"}) {
      std::string const name = std::string{"appliance."} + key;
      EXPECT_EQ(refusalIn("appliance", std::string{key} + " = 'etc'"),
                name + ": must be an absolute path, beginning with \"/\", not \"etc\"");
      EXPECT_EQ(refusalIn("appliance", std::string{key} + " = ''"),
                name + ": must be an absolute path, beginning with \"/\", not \"\"");
      EXPECT_EQ(refusalIn("appliance", std::string{key} + " = 5"),
                name + ": must be text in quotation marks, not 5");
      EXPECT_EQ(refusalIn("appliance", std::string{key} + " = \"/a\\u0000b\""),
                name + ": must not contain control characters: \"/a\\x00b\"");
      EXPECT_EQ(refusalIn("appliance", std::string{key} + " = '/" + std::string(4095, 'a') + "'"),
                name + ": must be at most 4095 bytes long");
   }
}

TEST(ConfigTest, RequiresDistinctMountNames) {
   std::string const must =
       "appliance.expected_mounts: must be a mount name as in the appliance's blockdev file, without \"/\" "
       "or "
       "blanks, not ";
   EXPECT_EQ(refusalIn("appliance", "expected_mounts = ['a', 'b', 'a']"),
             "appliance.expected_mounts: must not name \"a\" twice");
   EXPECT_EQ(refusalIn("appliance", "expected_mounts = ['']"),
             "appliance.expected_mounts: must not be empty");
   EXPECT_EQ(refusalIn("appliance", "expected_mounts = ['/mnt/flash']"), must + "\"/mnt/flash\"");
   EXPECT_EQ(refusalIn("appliance", "expected_mounts = ['my drive']"), must + "\"my drive\"");
   EXPECT_EQ(refusalIn("appliance", "expected_mounts = ['..']"), must + "\"..\"");
   EXPECT_EQ(refusalIn("appliance", "expected_mounts = 'flash'"),
             "appliance.expected_mounts: must be an array in square brackets, not \"flash\"");
   EXPECT_EQ(refusalIn("appliance", "expected_mounts = ['a', 1]"),
             "appliance.expected_mounts: must be text in quotation marks, not 1");
   EXPECT_EQ(configRefusal("[appliance]\nexpected_mounts = [\n'a',\n'b/'\n]\n").substr(0, 16),
             "/etc/x.toml:4: a");
   EXPECT_TRUE(parseConfig("[appliance]\nexpected_mounts = []", "x").appliance.expectedMounts.empty());
}

TEST(ConfigTest, RequiresADescriptionOfEverySensorOfADrive) {
   EXPECT_EQ(
       configRefusal("[appliance.sensors]\nSERIAL = 'Nowhere'\n"),
       "/etc/x.toml:2: appliance.sensors.SERIAL: names the sensor \"Nowhere\", which has no [sensors.…] "
       "section: add one with description, overheat and critical");
   EXPECT_EQ(refusalIn("appliance.sensors", "SERIAL = ''"), "appliance.sensors.SERIAL: must not be empty");
   EXPECT_EQ(refusalIn("appliance.sensors", "'' = 'A'"),
             "appliance.sensors.\"\": must be a name that is not empty and has no control characters");
   EXPECT_EQ(
       refusalIn("appliance.sensors", "\"a\\u001b[2J\" = 'A'"),
       "appliance.sensors.\"a\\x1b[2J\": must be a name that is not empty and has no control characters");
   EXPECT_EQ(configRefusal("[sensors.Spare]\noverheat = 1\ncritical = 2\n"), "accepted");
}

TEST(ConfigTest, RequiresOverheatBelowCritical) {
   std::string const degrees = "must be a number of degrees Celsius, -273.15 to 1000, not ";
   EXPECT_EQ(configRefusal("[sensors.A]\noverheat = 80\ncritical = 80.0"),
             "/etc/x.toml:1: sensors.A: overheat must be below critical");
   EXPECT_EQ(configRefusal("[sensors.A]\noverheat = 80"),
             "/etc/x.toml:1: sensors.A: needs both overheat and critical, in degrees Celsius");
   EXPECT_EQ(refusalIn("sensors.A", "overheat = nan"), "sensors.A.overheat: " + degrees + "nan");
   EXPECT_EQ(refusalIn("sensors.A", "critical = inf"), "sensors.A.critical: " + degrees + "inf");
   EXPECT_EQ(refusalIn("sensors.A", "critical = '80'"), "sensors.A.critical: " + degrees + "\"80\"");
   EXPECT_EQ(refusalIn("sensors.A", "description = 7"),
             "sensors.A.description: must be text in quotation marks, not 7");
}

TEST(ConfigTest, ChecksTheTools) {
   std::string const directories =
       "tools.path: must be absolute directories with colons between them, or empty, not ";
   EXPECT_EQ(refusalIn("tools", "timeout = -1"),
             "tools.timeout: must be a number of seconds, 0 (no limit) to 86400, not -1");
   EXPECT_EQ(refusalIn("tools", "timeout = inf").substr(0, 14), "tools.timeout:");
   for (std::string const path : {"\"bin\"", "\"/a:\"", "\":/a\"", "\"/a::/b\"", "\"/a:b\""})
      EXPECT_EQ(refusalIn("tools", "path = " + path), directories + path);
   EXPECT_EQ(refusalIn("tools", "nvme_compat = 1"), "tools.nvme_compat: must be true or false, not 1");
   EXPECT_EQ(refusalIn("tools", "accept_exit_bits = { smartctl = [8] }"),
             "tools.accept_exit_bits.smartctl: must be the number of a bit, 0 to 7, not 8");
   EXPECT_EQ(refusalIn("tools", "accept_exit_bits = { smartctl = 4 }"),
             "tools.accept_exit_bits.smartctl: must be an array in square brackets, not 4");
   for (char const * const bit : {"-1", "9", "64", "1.0", "'2'", "9223372036854775807"})
      EXPECT_TRUE(refusalIn("tools", std::string{"accept_exit_bits = { nvme = ["} + bit + "] }")
                      .starts_with("tools.accept_exit_bits.nvme: must be the number of a bit, 0 to 7, not "))
          << bit;
}

TEST(ConfigTest, KnowsTheToolsWhoseExitBitsItAccepts) {
   for (char const * const tool : toolNames)
      EXPECT_EQ(refusalIn("tools", std::string{"accept_exit_bits."} + tool + " = [0]"), "accepted");
   std::string const unknown = ": is set for no tool that is run; these are hdparm, nvme and smartctl";
   EXPECT_EQ(configRefusal("[tools.accept_exit_bits]\nhdparm = []\nsmartcl = [2]\n"),
             "/etc/x.toml:3: tools.accept_exit_bits.smartcl" + unknown);
   EXPECT_EQ(refusalIn("tools", "accept_exit_bits = { '/sbin/nvme' = [1] }"),
             "tools.accept_exit_bits.\"/sbin/nvme\"" + unknown);
}

TEST(ConfigTest, BoundsTheHistory) {
   EXPECT_EQ(refusalIn("history", "hours = 0"), "accepted");
   EXPECT_EQ(refusalIn("history", "hours = 8761"),
             "history.hours: must be a number of hours, 0 to 8760, not 8761");
   EXPECT_EQ(refusalIn("history", "file = 'history'"),
             "history.file: must be an absolute path, beginning with \"/\", not \"history\"");
   EXPECT_EQ(parseConfig("history.file = ''", "x").history.file, "");
}

TEST(ConfigTest, RequiresTheFailingLimitBelowTheWarning) {
   std::string const percentage = "must be a percentage of the rated life, 0 to 100, not ";
   EXPECT_EQ(refusalIn("verdict", "life_warning = 101"), "verdict.life_warning: " + percentage + "101");
   EXPECT_EQ(refusalIn("verdict", "life_failing = -1"), "verdict.life_failing: " + percentage + "-1");
   EXPECT_EQ(configRefusal("\n[verdict]\nlife_failing = 11"),
             "/etc/x.toml:2: verdict: life_failing must not be above life_warning");
   EXPECT_EQ(refusalIn("verdict", "life_failing = 10"), "accepted");
}

TEST(ConfigTest, RequiresTheNameOfAGroup) {
   EXPECT_EQ(refusalIn("status", "socket_group = 'disk'"), "accepted");
   EXPECT_EQ(refusalIn("status", "socket_group = ''"), "accepted");
   for (char const * const name : {"a b", "a:b", "a/b", "-a", "abcdefghijklmnopqrstuvwxyzabcdefg"})
      EXPECT_EQ(
          refusalIn("status", std::string{"socket_group = '"} + name + "'"),
          std::string{"status.socket_group: must be the name of a group, or empty, not \""} + name + "\"");
}

TEST(ConfigTest, RequiresSocketPathsThatASocketCanHave) {
   std::string const longest = "/" + std::string(106, 's');
   for (char const * section : {"kernel_messages", "status"}) {
      std::string const name = std::string{section} + ".socket: ";
      EXPECT_EQ(refusalIn(section, "socket = '" + longest + "'"), "accepted");
      EXPECT_EQ(refusalIn(section, "socket = '" + longest + "s'"),
                name + "must be at most 107 bytes long, the limit for a socket, not 108");
      EXPECT_EQ(refusalIn(section, "socket = 'run/x'"),
                name + "must be an absolute path, beginning with \"/\", not \"run/x\"");
   }
   EXPECT_EQ(refusalIn("kernel_messages", "forward_kmsg = 'yes'"),
             "kernel_messages.forward_kmsg: must be true or false, not \"yes\"");
   EXPECT_EQ(refusalIn("kernel_messages", "modern_kernels = 0"),
             "kernel_messages.modern_kernels: must be true or false, not 0");
}

TEST(ConfigTest, RequiresTwoSocketsAtTwoPlaces) {
   std::string const both = "must not be both status.socket and kernel_messages.socket";
   EXPECT_EQ(configRefusal("[status]\nsocket = '/run/a'\n[kernel_messages]\nsocket = '/run/b/./../a'"),
             "/etc/x.toml:2: status.socket: " + both);
   EXPECT_EQ(refusalIn("status", "socket = '/var/run/kernelmessages'"), "status.socket: " + both);
   EXPECT_EQ(refusalIn("kernel_messages", "socket = '/run/storagedevices/status.sock'"),
             "kernel_messages.socket: " + both);
}

TEST(ConfigTest, RequiresAllowRemoteForOtherMachines) {
   std::string const remote =
       "status.http: can be reached from other machines: set allow_remote = true beside it if that is "
       "wanted, "
       "else use 127.0.0.1";
   EXPECT_EQ(refusalIn("status", "http = '0.0.0.0:9634'"), remote);
   EXPECT_EQ(refusalIn("status", "http = '[::]:9634'\nallow_remote = false"), remote);
   EXPECT_EQ(refusalIn("status", "http = '[::]:9634'\nallow_remote = true"), "accepted");
   EXPECT_EQ(refusalIn("status", "http = '127.0.0.1:9634'"), "accepted");
   EXPECT_EQ(refusalIn("status", "http = ''\nallow_remote = true"), "accepted");
   EXPECT_EQ(refusalIn("status", "http = 'localhost:9634'"),
             "status.http: must be empty or a numeric address and a port, such as \"127.0.0.1:9634\" or "
             "\"[::1]:9634\", not \"localhost:9634\"");
}

TEST(ConfigTest, KnowsTheLogDestinations) {
   auto const destination = [](std::string const & word) {
      return parseConfig("log.destination = '" + word + "'", "x").logDestination;
   };
   EXPECT_EQ(destination("auto"), LogDestination::automatic);
   EXPECT_EQ(destination("journal"), LogDestination::journal);
   EXPECT_EQ(destination("syslog"), LogDestination::syslog);
   EXPECT_EQ(destination("stderr"), LogDestination::standardError);
   EXPECT_EQ(refusalIn("log", "destination = 'file'"),
             "log.destination: must be \"auto\", \"journal\", \"syslog\" or \"stderr\", not \"file\"");
}

TEST(ConfigTest, BoundsTraceLevelsAndTimeScale) {
   std::string const level =
       "trace.DeviceDetectionSm: must be a trace level, a whole number from 0 to 9, not ";
   std::string const scale = "clock.time_scale: must be a number from 0.001 to 100000, not ";
   EXPECT_EQ(refusalIn("trace", "DeviceDetectionSm = 10"), level + "10");
   EXPECT_EQ(refusalIn("trace", "DeviceDetectionSm = -1"), level + "-1");
   EXPECT_EQ(refusalIn("trace", "DeviceDetectionSm = 1.0").substr(0, level.size()), level);
   EXPECT_EQ(refusalIn("clock", "time_scale = 0"), scale + "0");
   EXPECT_EQ(refusalIn("clock", "time_scale = -1"), scale + "-1");
   EXPECT_EQ(refusalIn("clock", "time_scale = nan"), scale + "nan");
   EXPECT_EQ(refusalIn("clock", "time_scale = 100001"), scale + "100001");
   EXPECT_EQ(parseConfig("clock.time_scale = 0.001", "x").timeScale, 0.001);
}

TEST(ConfigTest, KnowsTheTraceFacilitiesOfTheProgramAndItsLibraries) {
   std::string const unknown = configRefusal("[trace]\n\nStorageSmartDataMonitor = 2\n");
   EXPECT_TRUE(
       unknown.starts_with("/etc/x.toml:3: trace.StorageSmartDataMonitor: is no trace facility; these are "))
       << unknown;
   for (std::string const & facility : Vorn::Host::traceFacilities()) {
      EXPECT_EQ(refusalIn("trace", facility + " = 9"), "accepted");
      EXPECT_NE(unknown.find(facility), std::string::npos) << facility;
   }
}

TEST(ConfigTest, RefusesTextThatIsNoTomlInOneLine) {
   EXPECT_EQ(configRefusal("poll_interval = 1\n [[ /a]\nx = 1\n"),
             "/etc/x.toml:2: is not TOML: a table header needs a name after its bracket");
   EXPECT_TRUE(configRefusal("a = 1\nb = \n").starts_with("/etc/x.toml:2: is not TOML: "));
   EXPECT_TRUE(
       configRefusal("poll_interval = 1\npoll_interval = 2\n").starts_with("/etc/x.toml:2: is not TOML: "));
   for (std::string const & text :
        {std::string{"a = \"\x1b[2J"}, std::string{"\xff\xfe"}, std::string{"a\0b", 3},
         std::string{"\x7f = 1"}, std::string{"\"\\u001b[2J\" = 1"},
         std::string{"poll_interval = \"\\u001b[2J\\n\""}}) {
      std::string const message = configRefusal(text);
      EXPECT_TRUE(message.starts_with("/etc/x.toml:1: ")) << message;
      EXPECT_EQ(Base::escaped(message), message);
   }
}

TEST(ConfigTest, BoundsSizeAndDepth) {
   std::string const comment(std::size_t{1} << 20U, '#');
   EXPECT_EQ(configRefusal(comment), "accepted");
   EXPECT_EQ(configRefusal(comment + "#"), "/etc/x.toml: must not be larger than 1 MiB");
   std::string dotted = "\n";
   for (int level = 0; level < 200000; ++level)
      dotted += "a.";
   EXPECT_EQ(configRefusal(dotted + "a = 1"), "/etc/x.toml:2: is nested too deeply");
   EXPECT_EQ(configRefusal("\n\na = " + std::string(500000, '[')), "/etc/x.toml:3: is nested too deeply");
   EXPECT_EQ(
       configRefusal("b = '" + std::string(100000, '.') + "'").find("/etc/x.toml:1: b: is not a known key"),
       0U);
}

TEST(ConfigTest, TreatsNoLetterBeyondAsciiAsWhiteSpace) {
   EXPECT_TRUE(configRefusal("\xef\xbb\x9f*").starts_with("/etc/x.toml:1: "))
       << configRefusal("\xef\xbb\x9f*");
   EXPECT_TRUE(configRefusal("poll_interval = 6\xc3\xa9").starts_with("/etc/x.toml:1: "));
   EXPECT_TRUE(configRefusal("poll_interval =\xc2\xa0 6").starts_with("/etc/x.toml:1: "));
   EXPECT_EQ(
       parseConfig("[sensors.a]\noverheat = 1\ncritical = 2\ndescription = \"\"\"\\\n  \xc3\xa9\"\"\"\n", "x")
           .sensors.at("a")
           .description,
       "\xc3\xa9");
}

TEST(ConfigTest, ShortensLongValuesInErrors) {
   std::string const message = refusalIn("log", "destination = '" + std::string(3000, 'x') + "'");
   EXPECT_LT(message.size(), 200U);
   EXPECT_NE(message.find("xxx…\""), std::string::npos);
}

}  // namespace
}  // namespace Agent
