// Configurations are read again and again, good ones and bad ones. A bad one changes nothing. After a good
// one each key has its new value or, where it needs a restart, its old one; the records are those of an agent
// that was started with these values. The same one again changes nothing.
//
// Configurations are separated by lines of "----".
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Check.h"
#include "StorageDevices/ApplianceTracker.h"
#include "agent/Entities.h"
#include "agent/config/ConfigChange.h"
#include "base/Text.h"

namespace {

using namespace Agent;

// What takes effect, written down once more by hand.
Config expectedOf(Config const & before, Config const & reread) {
   Config expected = reread;
   expected.appliance.etcDir = before.appliance.etcDir;
   expected.appliance.mountSourceDir = before.appliance.mountSourceDir;
   expected.kernelMessages.socket = before.kernelMessages.socket;
   expected.status = before.status;
   expected.logDestination = before.logDestination;
   expected.history = before.history;
   expected.timeScale = before.timeScale;
   return expected;
}

using Texts = std::map<std::string, std::string>;

// The records that a configuration fills, as texts.
Texts textsOf(Entities const & entities) {
   Texts texts{{"poll interval", std::to_string(entities.pollInterval->interval().value())},
               {"etc", entities.fruConfig->etcDir().str()},
               {"mount sources", entities.fruConfig->mountSourceDir().str()}};
   for (auto const & [mount, expected] : entities.fruConfig->expectedMounts)
      texts["mount " + mount.str()] = "expected";
   for (auto const & [serial, sensor] : entities.fruConfig->serialToSensorMap)
      texts["drive " + serial.str()] = sensor.str();
   for (auto const & [name, sensor] : entities.sensors->tempSensor)
      texts["sensor " + name.str()] = sensor->description().str() + " " +
                                      std::to_string(sensor->overheat().value()) + " " +
                                      std::to_string(sensor->critical().value());
   return texts;
}

bool isAmong(std::vector<std::string> const & keys, std::string const & key) {
   return std::find(keys.begin(), keys.end(), key) != keys.end();
}

class Running {
 public:
   void reread(std::string_view text) {
      auto const before = config_;
      auto const read = parsed(text);
      if (!read)
         return;
      ConfigChange const change = applyConfig(config_, *read);
      FUZZ_CHECK(config_ == expectedOf(before, *read));
      FUZZ_CHECK(change.applied.empty() == (config_ == before));
      FUZZ_CHECK(change.atNextStart.empty() == (config_ == *read));
      for (std::string const & key : change.applied)
         FUZZ_CHECK(!isAmong(change.atNextStart, key));
      FUZZ_CHECK(Base::escaped(changeText(change)) == changeText(change));
      entitiesAre(entities_, before, config_);
      FUZZ_CHECK(textsOf(entities_) == textsOf(entitiesOf(config_)));
      checkAgain(*read, change);
      StorageDevices::toolRulesIs(*tracker_, config_.tools);
   }

 private:
   static std::optional<Config> parsed(std::string_view text) {
      try {
         return parseConfig(text, "fuzz.toml");
      } catch (ConfigError const &) {
         return std::nullopt;
      }
   }

   void checkAgain(Config const & read, ConfigChange const & first) {
      Config again = config_;
      ConfigChange const change = applyConfig(again, read);
      FUZZ_CHECK(again == config_ && change.applied.empty() && change.atNextStart == first.atNextStart);
   }

   Config config_;
   Entities entities_ = entitiesOf(config_);
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker_ = StorageDevices::applianceTracker();
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const input(data, data + size);
   constexpr std::string_view separator = "----\n";
   Running running;
   for (std::size_t from = 0; from <= input.size();) {
      std::size_t const end = std::min(input.find(separator, from), input.size());
      running.reread(std::string_view{input}.substr(from, end - from));
      from = end + separator.size();
   }
   return 0;
}
