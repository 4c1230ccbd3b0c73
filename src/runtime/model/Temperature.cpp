#include "runtime/model/Temperature.h"

#include <cmath>

namespace Environment::Temperature {

namespace {

constexpr double hysteresis = 2;

using Alarm = TempSensorStatus::Alarm;

// Whether the alarm of a level is on, given whether it was.
bool isOn(double reading, Units::Celsius level, bool wasOn) {
   return reading >= level.value() - (wasOn ? hysteresis : 0);
}

Alarm alarmAt(double reading, TempSensorConfig const & config, Alarm before) {
   if (isOn(reading, config.critical(), before == Alarm::critical))
      return Alarm::critical;
   return isOn(reading, config.overheat(), before != Alarm::none) ? Alarm::overheat : Alarm::none;
}

}  // namespace

bool TemperatureWrapper::isNear(Units::Celsius a, Units::Celsius b) const {
   return std::abs(a.value() - b.value()) <= unrealisticTempChangeThreshold().value();
}

bool TemperatureWrapper::accepts(Units::Celsius reading) {
   bool const good = !lastGood_ || isNear(reading, *lastGood_) || (heldBack_ && isNear(reading, *heldBack_));
   (good ? lastGood_ : heldBack_) = reading;
   if (good)
      heldBack_.reset();
   return good;
}

Pelm::Ptr<TempSensorStatus> createEnvTempSensorStatus(Pelm::Ptr<Vorn::Dir> const & dir,
                                                      Pelm::Ptr<TempSensorConfig const> const & config) {
   auto status = Pelm::make<TempSensorStatus>(config->name());
   dir->entityIs(config->name(), status);
   return status;
}

void updateEnvTempSensorStatus(Units::Celsius min, Units::Celsius max, double reading, bool force,
                               TempSensorConfig const & config, TempSensorStatus & status,
                               TemperatureWrapper & wrapper) {
   status.minTemperatureIs(min);
   status.maxTemperatureIs(max);
   bool const inRange = reading >= min.value() && reading <= max.value();
   if (!inRange || !(wrapper.accepts(reading) || force))
      return;
   status.temperatureIs(Vorn::Optional<Units::Celsius>{Units::Celsius{reading}});
   status.alarmIs(alarmAt(reading, config, status.alarm()));
}

}  // namespace Environment::Temperature
