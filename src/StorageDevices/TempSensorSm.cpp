#include "StorageDevices/TempSensorSm.h"

#include <cmath>
#include <utility>

#include "StorageDevices/Factories.h"
#include "runtime/Vorn/Machine.h"
#include "runtime/Vorn/Trace.h"

namespace StorageDevices {

namespace {

Vorn::TraceHandle traceHandle{"StorageTempSensorSm", true};

// The range of a drive's temperature, and the largest credible change when the previous reading is unknown.
constexpr Environment::Temperature::Celsius minTemperature = -40.0;
constexpr Environment::Temperature::Celsius maxTemperature = 140.0;
constexpr Environment::Temperature::Celsius usualChange = 20.0;

}  // namespace

TempSensorSm::TempSensorSm(Pelm::Ptr<FruConfig const> fruConfig,
                           Pelm::Ptr<Environment::Temperature::Config const> envTempConfigDir,
                           Pelm::Ptr<Vorn::Dir> envTempStatusDir, Pelm::Ptr<NvmeData const> nvmeData,
                           Pelm::Ptr<SmartData const> smartData)
    : fruConfig_{std::move(fruConfig)},
      envTempConfigDir_{std::move(envTempConfigDir)},
      envTempStatusDir_{std::move(envTempStatusDir)},
      nvmeData_{std::move(nvmeData)},
      smartData_{std::move(smartData)} {
   fruConfigReactor_.notifierIs(fruConfig_);
   fruConfigReactor_.on<&TempSensorSm::fruConfigDispatch>(fruConfig_->serialToSensorMap, *this);
   fruConfigReactor_.hasNotificationActiveIs(true);
   nvmeDataReactor_.notifierIs(nvmeData_);
   nvmeDataReactor_.on<&TempSensorSm::nvmeDataDispatch>(nvmeData_->deviceData, *this);
   nvmeDataReactor_.hasNotificationActiveIs(true);
   smartDataReactor_.notifierIs(smartData_);
   smartDataReactor_.on<&TempSensorSm::handleSmartRecord>(smartData_->deviceData, *this);
   smartDataReactor_.hasNotificationActiveIs(true);
}

void TempSensorSm::handleInitialized() {
   for (auto const & [name, record] : nvmeData_->deviceData)
      nvmeDeviceDataIs(record);
   smartReactors_.notifierIs(smartData_);
   for (auto const & [name, sensor] : fruConfig_->serialToSensorMap)
      createTempStatus(name);
}

Pelm::Ptr<TempSensorSm::Config const> TempSensorSm::configOf(Pelm::String const & name) const {
   auto const sensor = fruConfig_->serialToSensorMap(name);
   return sensor && !sensor->empty() ? envTempConfigDir_->tempSensor(*sensor) : nullptr;
}

Pelm::Ptr<TempSensorSm::Status> TempSensorSm::statusOf(Config const & config) const {
   Pelm::Ptr<Pelm::Node> const entity = envTempStatusDir_->entityPtr(config.name());
   return Pelm::Ptr<Status>{dynamic_cast<Status *>(entity.get())};
}

void TempSensorSm::createTempStatus(Pelm::String const & name) {
   // The host calls this too, and its subscriber to the new sensor may drop the machine.
   Pelm::KeepAlive const keepAlive{*this};
   Pelm::Ptr<Config const> const config = configOf(name);
   if (!config)
      return;
   VORN_TRACE(traceHandle, 2) << " sensor " << config->name() << " shows the temperature of " << name;
   createEnvTempSensorStatus(envTempStatusDir_, config);
   temperatureWrapperIs(name);
   if (!nodeFlag(Flag::zombie))
      updateTempSensor(name, {}, {});
}

void TempSensorSm::temperatureWrapperIs(Pelm::String const & name) {
   Pelm::Ptr<Config const> const config = configOf(name);
   temperatureWrapper.memberIs(name, Pelm::make<Wrapper>(config ? config->name() : name));
}

Vorn::Optional<double> TempSensorSm::reading(Pelm::String const & name) const {
   if (Pelm::Ptr<DeviceNvmeData> const nvme = nvmeData_->deviceData(name)) {
      NvmeAttr const & attr = nvme->temperatureCelsius();
      return attr.name.empty() ? Vorn::Optional<double>{} : static_cast<double>(attr.value);
   }
   Pelm::Ptr<DeviceSmartData> const smart = smartData_->deviceData(name);
   if (!smart || !smart->temperatureCelsius())
      return {};
   return static_cast<double>(smart->temperatureCelsius()->reportedValue);
}

void TempSensorSm::updateTempSensor(Pelm::String const & name,
                                    Vorn::Optional<OptionalSmartAttr> const & newValue,
                                    Vorn::Optional<OptionalSmartAttr> const & oldValue) {
   Pelm::Ptr<Config const> const config = configOf(name);
   Pelm::Ptr<Wrapper> const wrapper = temperatureWrapper(name);
   Pelm::Ptr<Status> const status = config ? statusOf(*config) : nullptr;
   auto const degrees = reading(name);
   if (!status || !wrapper || !degrees)
      return;
   if (!nvmeData_->deviceData.contains(name)) {
      auto const degreesOf = [](Vorn::Optional<OptionalSmartAttr> const & attr) {
         return static_cast<double>((**attr).reportedValue);
      };
      wrapper->unrealisticTempChangeThresholdIs(
          newValue ? Environment::Temperature::Celsius{std::abs(degreesOf(newValue) - degreesOf(oldValue))}
                   : usualChange);
   }
   updateEnvTempSensorStatus(minTemperature, maxTemperature, *degrees, false, *config, *status, *wrapper);
}

void TempSensorSm::fruConfigDispatch(Pelm::String const & name) {
   if (Pelm::Ptr<Wrapper> const before = temperatureWrapper(name)) {
      temperatureWrapperDel(name);
      if (!reassignSensor(before->name()))
         envTempStatusDir_->entityDel(before->name());
   }
   createTempStatus(name);
}

// Gives a sensor that one drive has lost to another drive that is configured for it. False when there is
// none.
bool TempSensorSm::reassignSensor(Pelm::String const & sensor) {
   for (auto const & [name, wrapper] : temperatureWrapper)
      if (wrapper->name() == sensor) {
         createTempStatus(Pelm::String{name});
         return true;
      }
   return false;
}

void TempSensorSm::nvmeDataDispatch(Pelm::String const & name) {
   nvmeDeviceDataDel(name);
   if (Pelm::Ptr<DeviceNvmeData> const record = nvmeData_->deviceData(name))
      nvmeDeviceDataIs(record);
   else
      forgetReadings(name);
}

void TempSensorSm::handleSmartRecord(Pelm::String const & name) {
   if (!smartData_->deviceData.contains(name) && !nvmeData_->deviceData.contains(name))
      forgetReadings(name);
}

// A reading that waits for its confirmation must not be shown once its drive is gone.
void TempSensorSm::forgetReadings(Pelm::String const & name) {
   if (temperatureWrapper.contains(name))
      temperatureWrapperIs(name);
}

void TempSensorSm::nvmeDeviceDataIs(Pelm::Ptr<DeviceNvmeData const> const & record) {
   nvmeDeviceData.memberIs(record->name(), Pelm::make<NestedSm_NvmeDeviceData>(*this, record->name(),
                                                                               record->temperatureCelsius));
}

void TempSensorSm::on_smartData_deviceData(Pelm::String const & name,
                                           Vorn::Change<OptionalSmartAttr> const & change) {
   // The first and the last temperature are no change between two readings.
   if (*change.old && *change.now)
      updateTempSensor(name, change.now, change.old);
   else
      updateTempSensor(name, {}, {});
}

Pelm::Ptr<TempSensorSm> TempSensorSmIs(
    Pelm::Ptr<FruConfig const> const & fruConfig,
    Pelm::Ptr<Environment::Temperature::Config const> const & envTempConfigDir,
    Pelm::Ptr<Vorn::Dir> const & envTempStatusDir, Pelm::Ptr<NvmeData const> const & nvmeData,
    Pelm::Ptr<SmartData const> const & smartData) {
   return Vorn::makeMachine<TempSensorSm>(fruConfig, envTempConfigDir, envTempStatusDir, nvmeData, smartData);
}

Pelm::Ptr<TempSensorSm> tempSensorSmFactory(
    Pelm::Ptr<FruConfig const> const & fruConfig,
    Pelm::Ptr<Environment::Temperature::Config const> const & envTempConfigDir,
    Pelm::Ptr<Vorn::Dir> const & envTempStatusDir, Pelm::Ptr<NvmeData const> const & nvmeData,
    Pelm::Ptr<SmartData const> const & smartData) {
   return TempSensorSmIs(fruConfig, envTempConfigDir, envTempStatusDir, nvmeData, smartData);
}

}  // namespace StorageDevices
