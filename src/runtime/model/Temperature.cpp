#include "runtime/model/Temperature.h"

#include <cmath>
#include <utility>

namespace Environment::Temperature {

namespace {

constexpr double hysteresis = 2;
constexpr Vorn::Seconds longSilence = 300;

using Alarm = TempSensorStatus::Alarm;

// Whether the alarm of a level is on; `wasOn` is its state before.
bool isOn(double reading, Celsius level, bool wasOn) {
   return reading >= level.value() - (wasOn ? hysteresis : 0);
}

Alarm alarmAt(double reading, TempSensorConfig const & config, Alarm before) {
   if (isOn(reading, config.critical(), before == Alarm::critical))
      return Alarm::critical;
   return isOn(reading, config.overheat(), before != Alarm::none) ? Alarm::overheat : Alarm::none;
}

void show(double reading, TempSensorConfig const & config, TempSensorStatus & status) {
   status.temperatureIs(Vorn::Optional<Celsius>{Celsius{reading}});
   status.alarmIs(alarmAt(reading, config, status.alarm()));
}

}  // namespace

Config::Config() = default;
Config::~Config() = default;

void Config::tempSensorIs(Pelm::String const & name, Pelm::String description, Celsius overheat,
                          Celsius critical) {
   auto record = Pelm::make<TempSensorConfig const>(name, std::move(description), overheat, critical);
   Pelm::Ptr<TempSensorConfig const> const stored = tempSensor(name);
   if (!stored || !stored->isEq(*record))
      tempSensor.memberIs(name, std::move(record));
}
void Config::tempSensorDel(Pelm::String const & name) {
   tempSensor.memberDel(name);
}
void Config::tempSensorDelAll() {
   tempSensor.memberDelAll();
}

TempSensorStatus::TempSensorStatus(Pelm::String name) : name_{std::move(name)} {}
TempSensorStatus::~TempSensorStatus() = default;

void TempSensorStatus::temperatureIs(Vorn::Optional<Celsius> value) {
   temperature.valueIs(value);
}
void TempSensorStatus::minTemperatureIs(Celsius value) {
   minTemperature.valueIs(value);
}
void TempSensorStatus::maxTemperatureIs(Celsius value) {
   maxTemperature.valueIs(value);
}
void TempSensorStatus::alarmIs(Alarm value) {
   alarm.valueIs(value);
}

TemperatureWrapper::TemperatureWrapper(Pelm::String name) : name_{std::move(name)} {}
TemperatureWrapper::~TemperatureWrapper() = default;

void TemperatureWrapper::unrealisticTempChangeThresholdIs(Celsius value) {
   unrealisticTempChangeThreshold.valueIs(value);
}

bool TemperatureWrapper::isNear(Celsius a, Celsius b) const {
   return std::abs(a.value() - b.value()) <= unrealisticTempChangeThreshold().value();
}

bool TemperatureWrapper::accepts(Celsius reading, std::function<void(Celsius)> acceptLater) {
   bool const good =
       !lastGood_ || isNear(reading, *lastGood_) || (unconfirmed_ && isNear(reading, *unconfirmed_));
   (good ? lastGood_ : unconfirmed_) = reading;
   if (good)
      unconfirmed_.reset();
   acceptLater_ = good ? nullptr : std::move(acceptLater);
   silenceClock_.timeMinIs(good ? Vorn::Seconds::infinity() : Vorn::System::currentTime() + longSilence);
   return good;
}

void TemperatureWrapper::handleSilence() {
   silenceClock_.timeMinIs(Vorn::Seconds::infinity());
   if (!unconfirmed_)
      return;
   lastGood_ = *unconfirmed_;
   unconfirmed_.reset();
   if (auto const acceptLater = std::exchange(acceptLater_, nullptr))
      acceptLater(*lastGood_);
}

Pelm::Ptr<TempSensorStatus> createEnvTempSensorStatus(Pelm::Ptr<Vorn::Dir> const & dir,
                                                      Pelm::Ptr<TempSensorConfig const> const & config) {
   auto status = Pelm::make<TempSensorStatus>(config->name());
   dir->entityIs(config->name(), status);
   return status;
}

void updateEnvTempSensorStatus(Celsius min, Celsius max, double reading, bool force,
                               TempSensorConfig const & config, TempSensorStatus & status,
                               TemperatureWrapper & wrapper) {
   status.minTemperatureIs(min);
   status.maxTemperatureIs(max);
   bool const inRange = reading >= min.value() && reading <= max.value();
   if (!inRange)
      return;
   auto const showLater = [config = Pelm::Ptr<TempSensorConfig const>{&config},
                           status = Pelm::Ptr<TempSensorStatus>{&status}](Celsius confirmed) {
      show(confirmed.value(), *config, *status);
   };
   if (wrapper.accepts(reading, showLater) || force)
      show(reading, config, status);
}

}  // namespace Environment::Temperature
