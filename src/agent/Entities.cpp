#include "agent/Entities.h"

#include <set>
#include <string>
#include <vector>

#include "agent/config/ApplianceConfig.h"

namespace Agent {

namespace {

void sensorIs(Entities const & entities, std::string const & name, Config::Sensor const & sensor) {
   entities.sensors->tempSensorIs(Pelm::String{name}, Pelm::String{sensor.description}, sensor.overheat,
                                  sensor.critical);
}

// Drives whose sensor, or the configuration of it, differs.
std::set<std::string> drivesWithAnotherSensor(Config const & before, Config const & now) {
   auto const sensorOf = [](Config const & config, std::string const & serial) {
      auto const name = config.appliance.sensors.find(serial);
      return name == config.appliance.sensors.end()
                 ? std::pair{std::string{}, Config::Sensor{}}
                 : std::pair{name->second, config.sensors.at(name->second)};
   };
   std::set<std::string> drives;
   for (Config const * const config : {&before, &now})
      for (auto const & [serial, sensor] : config->appliance.sensors)
         if (sensorOf(before, serial) != sensorOf(now, serial))
            drives.insert(serial);
   return drives;
}

// Removes the sensor of a drive for a moment, so that the monitor makes the status of the new one.
void sensorsAre(Entities const & entities, Config const & before, Config const & now) {
   auto const drives = drivesWithAnotherSensor(before, now);
   for (std::string const & serial : drives)
      entities.fruConfig->serialToSensorMapDel(Pelm::String{serial});
   for (auto const & [name, sensor] : before.sensors)
      if (!now.sensors.contains(name))
         entities.sensors->tempSensorDel(Pelm::String{name});
   for (auto const & [name, sensor] : now.sensors)
      if (auto const old = before.sensors.find(name); old == before.sensors.end() || old->second != sensor)
         sensorIs(entities, name, sensor);
   for (std::string const & serial : drives)
      if (auto const sensor = now.appliance.sensors.find(serial); sensor != now.appliance.sensors.end())
         entities.fruConfig->serialToSensorMapIs(Pelm::String{serial}, Pelm::String{sensor->second});
}

}  // namespace

Entities entitiesOf(Config const & config) {
   Entities entities;
   entities.fruConfig = fruConfigOf(config);
   entities.pollInterval->intervalIs(static_cast<double>(config.pollInterval));
   for (auto const & [name, sensor] : config.sensors)
      sensorIs(entities, name, sensor);
   return entities;
}

void entitiesAre(Entities const & entities, Config const & before, Config const & now) {
   entities.pollInterval->intervalIs(static_cast<double>(now.pollInterval));
   std::set<std::string> const mounts{now.appliance.expectedMounts.begin(),
                                      now.appliance.expectedMounts.end()};
   for (std::string const & mount : before.appliance.expectedMounts)
      if (!mounts.contains(mount))
         entities.fruConfig->expectedMountsDel(Pelm::String{mount});
   for (std::string const & mount : mounts)
      entities.fruConfig->expectedMountsIs(Pelm::String{mount});
   sensorsAre(entities, before, now);
}

std::size_t forgetGoneDisks(Entities const & entities) {
   std::vector<Pelm::String> gone;
   for (auto const & [name, record] : entities.kernelErrors->fsList)
      if (!entities.devices->disk.contains(name))
         gone.push_back(name);
   for (Pelm::String const & name : gone)
      entities.kernelErrors->fsListDel(name);
   return gone.size();
}

}  // namespace Agent
