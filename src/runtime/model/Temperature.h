// The environment model's temperature sensors: their configuration, their status, and how a reading changes
// the status.
#pragma once

#include <cstdint>
#include <functional>
#include <utility>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/Dir.h"
#include "runtime/Vorn/EnumType.h"
#include "runtime/Vorn/Optional.h"
#include "runtime/Vorn/Seconds.h"

namespace Environment::Temperature {

// Degrees Celsius. Compares as numbers do; a NaN equals nothing.
class Celsius {
 public:
   constexpr Celsius() = default;
   constexpr explicit(false) Celsius(double degrees) : degrees_{degrees} {}
   constexpr double value() const { return degrees_; }
   // NOLINTNEXTLINE(modernize-use-nullptr): it takes a zero that the compiler makes up for a pointer.
   constexpr auto operator<=>(Celsius const &) const = default;

 private:
   double degrees_ = 0;
};

// The configuration of one sensor. It never changes; another one replaces it. `overheat` should be below
// `critical`; nothing checks that, and where both apply the alarm is critical.
class TempSensorConfig : public Pelm::Node {
 public:
   TempSensorConfig(Pelm::String name, Pelm::String description, Celsius overheat, Celsius critical)
       : name_{std::move(name)},
         description_{std::move(description)},
         overheat_{overheat},
         critical_{critical} {}

   Pelm::String const & name() const { return name_; }
   // For the reader of the configuration; nothing depends on it.
   Pelm::String const & description() const { return description_; }
   // The temperatures at which the alarms begin, these degrees included.
   Celsius overheat() const { return overheat_; }
   Celsius critical() const { return critical_; }
   // Whether all four are equal.
   bool isEq(TempSensorConfig const & other) const {
      return name_ == other.name_ && description_ == other.description_ && overheat_ == other.overheat_ &&
             critical_ == other.critical_;
   }

 private:
   Pelm::String name_;
   Pelm::String description_;
   Celsius overheat_;
   Celsius critical_;
};

// The configured sensors. Written by the host. A monitor reads a sensor's configuration at each reading, so a
// change takes effect at the next one.
class VORN_API Config : public Pelm::Node {
 public:
   Config();
   ~Config() override;

   // By the sensor's name, which its status has too.
   Vorn::Collection<Pelm::String, Pelm::Ptr<TempSensorConfig const>, Config> tempSensor{*this, "tempSensor"};
   // Creates the record of a sensor, or replaces it if another argument differs.
   void tempSensorIs(Pelm::String const & name, Pelm::String description, Celsius overheat, Celsius critical);
   void tempSensorDel(Pelm::String const & name);
   void tempSensorDelAll();
};

// The status of one sensor, under its name in the status directory. Written by the monitor of the drives'
// temperatures.
class VORN_API TempSensorStatus : public Pelm::Node {
 public:
   class Alarm : public Vorn::EnumType<unsigned char, Alarm> {
    public:
      enum Value : unsigned char { none = 0, overheat = 1, critical = 2 };
      static constexpr Vorn::EnumName<unsigned char> names[] = {
          {none, "none"}, {overheat, "overheat"}, {critical, "critical"}};
      using EnumType::EnumType;
   };
   template <class T>
   using Attribute = Vorn::Attribute<T, TempSensorStatus>;

   explicit TempSensorStatus(Pelm::String name);
   ~TempSensorStatus() override;
   Pelm::String const & name() const { return name_; }

   // The latest accepted reading; empty before the first.
   Attribute<Vorn::Optional<Celsius>> temperature{*this, "temperature"};
   void temperatureIs(Vorn::Optional<Celsius> value);
   // The range of valid readings, both ends included. A reading outside of it changes neither temperature nor
   // alarm.
   Attribute<Celsius> minTemperature{*this, "minTemperature"};
   void minTemperatureIs(Celsius value);
   Attribute<Celsius> maxTemperature{*this, "maxTemperature"};
   void maxTemperatureIs(Celsius value);
   // Of the latest accepted reading, by the configuration of that time; none before the first.
   Attribute<Alarm> alarm{*this, "alarm", Alarm::none};
   void alarmIs(Alarm value);

 private:
   Pelm::String name_;
};

// Filters a sensor's readings, to distinguish a real change from a bad reading.
class VORN_API TemperatureWrapper : public Pelm::Node {
 public:
   explicit TemperatureWrapper(Pelm::String name);
   ~TemperatureWrapper() override;
   Pelm::String const & name() const { return name_; }

   // Degrees; 20 at first. A reading that differs by more than this from the last good one needs
   // confirmation.
   Vorn::Attribute<Celsius, TemperatureWrapper> unrealisticTempChangeThreshold{
       *this, "unrealisticTempChangeThreshold", 20.0};
   // 0 and above. The monitor of the drives sets it before each reading of a drive without an NVMe record.
   void unrealisticTempChangeThresholdIs(Celsius value);

   // Whether the reading is accepted now. Otherwise a second similar reading confirms it; so do five minutes
   // without another one, since only changes are reported. Then `acceptLater` is called with it, from the
   // loop; it is dropped when another reading comes first, or with this wrapper. The first reading is
   // accepted.
   bool accepts(Celsius reading, std::function<void(Celsius)> acceptLater);

 private:
   bool isNear(Celsius a, Celsius b) const;
   void handleSilence();

   Pelm::String name_;
   Vorn::Optional<Celsius> lastGood_;
   Vorn::Optional<Celsius> unconfirmed_;
   std::function<void(Celsius)> acceptLater_;
   Vorn::Clock::Notifiee<&TemperatureWrapper::handleSilence> silenceClock_{*this, Vorn::Seconds::infinity()};
};

// Creates or replaces the sensor's status in the directory, under the configured name.
VORN_API Pelm::Ptr<TempSensorStatus> createEnvTempSensorStatus(
    Pelm::Ptr<Vorn::Dir> const & dir, Pelm::Ptr<TempSensorConfig const> const & config);

// Passes a reading to the sensor. A reading outside the range, or not accepted by the wrapper, changes only
// the range. An alarm ends two degrees below the temperature at which it begins. `force` skips the wrapper.
VORN_API void updateEnvTempSensorStatus(Celsius min, Celsius max, double reading, bool force,
                                        TempSensorConfig const & config, TempSensorStatus & status,
                                        TemperatureWrapper & wrapper);

}  // namespace Environment::Temperature
