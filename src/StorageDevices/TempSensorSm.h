// Publishes the temperature of each drive that has a configured sensor, as that sensor's status.
//
// Inputs: the drives' sensors, the sensors' configuration, and the temperatures in the NVMe and SMART
// records. Output: a status per sensor in the given directory. An NVMe drive's temperature comes from its
// smart log, never from its SMART record. A drive that goes leaves its sensor at the last confirmed reading.
// Readings from -40 to 140 degrees Celsius count; others change nothing. Two drives with one sensor both
// write its status.
#pragma once

#include "StorageDevices/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Collection.h"
#include "runtime/Vorn/Dir.h"
#include "runtime/Vorn/EachMember.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Optional.h"
#include "runtime/model/FruConfig.h"
#include "runtime/model/NvmeData.h"
#include "runtime/model/SmartData.h"
#include "runtime/model/Temperature.h"

namespace StorageDevices {

class STORAGEDEVICES_API TempSensorSm final : public Pelm::Node {
 public:
   using Wrapper = Environment::Temperature::TemperatureWrapper;

   // The factory's arguments, not null. The statuses stay in `envTempStatusDir` when the machine goes.
   TempSensorSm(Pelm::Ptr<FruConfig const> fruConfig,
                Pelm::Ptr<Environment::Temperature::Config const> envTempConfigDir,
                Pelm::Ptr<Vorn::Dir> envTempStatusDir, Pelm::Ptr<NvmeData const> nvmeData,
                Pelm::Ptr<SmartData const> smartData);

   Pelm::Ptr<FruConfig const> const & fruConfig() const { return fruConfig_; }
   Pelm::Ptr<Environment::Temperature::Config const> const & envTempConfigDir() const {
      return envTempConfigDir_;
   }
   Pelm::Ptr<Vorn::Dir> const & envTempStatusDir() const { return envTempStatusDir_; }
   Pelm::Ptr<NvmeData const> const & nvmeData() const { return nvmeData_; }
   Pelm::Ptr<SmartData const> const & smartData() const { return smartData_; }

   // By the drive's serial number, for drives that have a sensor.
   Vorn::Collection<Pelm::String, Pelm::Ptr<Wrapper>, TempSensorSm> temperatureWrapper{*this,
                                                                                       "temperatureWrapper"};

   // The wrapper has the name of the drive's sensor, or that of the drive if it has none. It replaces the
   // drive's former one, with the reading that waits for confirmation there.
   void temperatureWrapperIs(Pelm::String const & name);
   void temperatureWrapperDel(Pelm::String const & name) { temperatureWrapper.memberDel(name); }
   void temperatureWrapperDelAll() { temperatureWrapper.memberDelAll(); }

   // The temperature in a drive's NVMe record changed.
   void handleNvmeTemperature(Pelm::String const & name) { updateTempSensor(name, {}, {}); }
   using NestedSm_NvmeDeviceData = Vorn::MemberReactor<&TempSensorSm::handleNvmeTemperature>;

   // By the drive's serial number, for drives that have an NVMe record.
   Vorn::Collection<Pelm::String, Pelm::Ptr<NestedSm_NvmeDeviceData>, TempSensorSm> nvmeDeviceData{
       *this, "nvmeDeviceData"};
   using HN_NvmeDeviceData = decltype(nvmeDeviceData)::Member;
   // Watches the temperature of the record; the former reactor of that drive is replaced.
   void nvmeDeviceDataIs(Pelm::Ptr<DeviceNvmeData const> const & record);
   void nvmeDeviceDataDel(Pelm::String const & name) { nvmeDeviceData.memberDel(name); }
   void nvmeDeviceDataDelAll() { nvmeDeviceData.memberDelAll(); }

   void handleInitialized();
   // Creates the status of the drive's sensor, if it has one that is configured, and shows the drive's
   // temperature there. A status of that name is replaced.
   void createTempStatus(Pelm::String const & name);
   // Passes the drive's current temperature to its sensor. `oldValue` and `newValue`, both or neither: the
   // change of the temperature in the SMART record. Their difference, else 20 degrees, becomes the largest
   // credible change; that of an NVMe drive stays. Without a sensor or a temperature nothing happens.
   void updateTempSensor(Pelm::String const & name, Vorn::Optional<OptionalSmartAttr> const & newValue,
                         Vorn::Optional<OptionalSmartAttr> const & oldValue);

   // The drive's sensor has changed or was removed.
   void fruConfigDispatch(Pelm::String const & name);
   // A record was added or deleted.
   void nvmeDataDispatch(Pelm::String const & name);
   void on_smartData(Pelm::String const & name) { smartReactors_.memberIs(name); }
   // The temperature in a drive's SMART record changed.
   void on_smartData_deviceData(Pelm::String const & name, Vorn::Change<OptionalSmartAttr> const & change);

 private:
   using Config = Environment::Temperature::TempSensorConfig;
   using Status = Environment::Temperature::TempSensorStatus;

   bool reassignSensor(Pelm::String const & sensor);
   void handleSmartRecord(Pelm::String const & name);
   void forgetReadings(Pelm::String const & name);
   Pelm::Ptr<Config const> configOf(Pelm::String const & name) const;
   Pelm::Ptr<Status> statusOf(Config const & config) const;
   // Nothing when the drive has no temperature yet.
   Vorn::Optional<double> reading(Pelm::String const & name) const;

   Pelm::Ptr<FruConfig const> fruConfig_;
   Pelm::Ptr<Environment::Temperature::Config const> envTempConfigDir_;
   Pelm::Ptr<Vorn::Dir> envTempStatusDir_;
   Pelm::Ptr<NvmeData const> nvmeData_;
   Pelm::Ptr<SmartData const> smartData_;
   Vorn::NotifieeConst fruConfigReactor_;
   Vorn::NotifieeConst nvmeDataReactor_;
   Vorn::NotifieeConst smartDataReactor_;
   Vorn::EachMember<&TempSensorSm::on_smartData_deviceData, &SmartData::deviceData,
                    &DeviceSmartData::temperatureCelsius>
       smartReactors_{*this};
};

STORAGEDEVICES_API Pelm::Ptr<TempSensorSm> TempSensorSmIs(
    Pelm::Ptr<FruConfig const> const & fruConfig,
    Pelm::Ptr<Environment::Temperature::Config const> const & envTempConfigDir,
    Pelm::Ptr<Vorn::Dir> const & envTempStatusDir, Pelm::Ptr<NvmeData const> const & nvmeData,
    Pelm::Ptr<SmartData const> const & smartData);

}  // namespace StorageDevices
