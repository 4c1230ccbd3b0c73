// Whoever adds a key documents and tests it: the keys are those that the reader itself says it knows.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "agent/config/Config.h"
#include "tests/support/EveryKey.h"

namespace Agent {
namespace {

using Keys = std::vector<std::string>;

// The members of a table whose keys are fixed: "the known keys here are a, b and c". None for all else.
Keys membersOf(std::string const & path) {
   std::string const known = "is not a known key; the known keys here are ";
   try {
      parseConfig((path.empty() ? "" : path + ".") + "nonsense = 1", "x");
   } catch (ConfigError const & error) {
      std::string text = error.what();
      auto const at = text.find(known);
      if (at == std::string::npos)
         return {};
      text.erase(0, at + known.size());
      std::replace(text.begin(), text.end(), ',', ' ');
      std::istringstream words{text};
      Keys members{std::istream_iterator<std::string>{words}, {}};
      std::erase(members, "and");
      return members;
   }
   return {};
}

// Dotted, "any" standing for a name that is free.
Keys keysBelow(std::string const & path) {
   std::string const place = membersOf(path).empty() && !path.empty() ? path + ".any" : path;
   Keys const members = membersOf(place);
   if (members.empty())
      return {path};
   Keys keys;
   std::string const prefix = place.empty() ? "" : place + ".";
   for (std::string const & member : members)
      std::ranges::copy(keysBelow(std::string{prefix}.append(member)), std::back_inserter(keys));
   return keys;
}

// The keys that a text with a key on each line sets.
Keys keysSetIn(std::string const & text) {
   Keys keys;
   std::string section;
   std::istringstream lines{text};
   for (std::string line; std::getline(lines, line);)
      if (line.starts_with('['))
         section = line.substr(1, line.find(']') - 1) + ".";
      else if (auto const end = line.find(" = "); end != std::string::npos)
         keys.push_back(section + line.substr(0, end));
   return keys;
}

bool isSetBy(std::string const & key, std::string const & line) {
   std::string const free = ".any.";
   if (auto const at = key.find(free); at != std::string::npos)
      return line.starts_with(key.substr(0, at + 1)) && line.ends_with(key.substr(at + free.size() - 1));
   return line == key || line.starts_with(key + ".");
}

Keys keysMissingIn(std::string const & text) {
   Keys const set = keysSetIn(text);
   Keys missing = keysBelow("");
   std::erase_if(missing, [&](std::string const & key) {
      return std::ranges::any_of(set, [&](std::string const & line) { return isSetBy(key, line); });
   });
   return missing;
}

// The installed configuration with the keys that it shows set: "#key = value" without its "#".
std::string installedConfiguration() {
   std::ifstream file{TEST_DATA_DIR "/../../deploy/storagedevices.toml"};
   std::string text;
   for (std::string line; std::getline(file, line);)
      text += (line.starts_with('#') && !line.starts_with("# ") ? line.substr(1) : line) + "\n";
   return text;
}

TEST(ConfigKeysTest, MatchesTheKeysThatTheReaderKnows) {
   Keys const keys = keysBelow("");
   EXPECT_GE(keys.size(), 26U);
   for (char const * key : {"poll_interval", "appliance.sensors", "sensors.any.overheat", "clock.time_scale"})
      EXPECT_EQ(std::ranges::count(keys, key), 1) << key;
}

TEST(ConfigKeysTest, FindsEveryKeyInTheInstalledConfiguration) {
   EXPECT_EQ(keysMissingIn(installedConfiguration()), Keys{}) << "deploy/storagedevices.toml shows every key";
}

TEST(ConfigKeysTest, FindsEveryKeyInTheConfigurationOfTheTests) {
   EXPECT_EQ(keysMissingIn(Support::everyKey), Keys{}) << "tests/support/EveryKey.h sets every key";
}

TEST(ConfigKeysTest, ShowsTheDefaultsInTheInstalledConfiguration) {
   Config config = parseConfig(installedConfiguration(), "storagedevices.toml");
   // Examples, since nothing is there by default.
   config.appliance.sensors.clear();
   config.sensors.clear();
   config.trace.clear();
   EXPECT_EQ(config, Config{});
}

TEST(ConfigKeysTest, InstallsAConfigurationThatChangesNothing) {
   std::ifstream file{TEST_DATA_DIR "/../../deploy/storagedevices.toml"};
   std::string const text{std::istreambuf_iterator<char>{file}, {}};
   ASSERT_FALSE(text.empty());
   EXPECT_EQ(parseConfig(text, "storagedevices.toml"), Config{});
}

}  // namespace
}  // namespace Agent
