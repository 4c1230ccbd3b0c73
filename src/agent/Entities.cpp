#include "agent/Entities.h"

namespace Agent {

Pelm::Ptr<FruConfig> fruConfigOf(Config const & config) {
   auto fruConfig = Pelm::make<FruConfig>();
   fruConfig->etcDirIs(Pelm::String{config.appliance.etcDir});
   fruConfig->mountSourceDirIs(Pelm::String{config.appliance.mountSourceDir});
   for (std::string const & mount : config.appliance.expectedMounts)
      fruConfig->expectedMountsIs(Pelm::String{mount});
   for (auto const & [serial, sensor] : config.appliance.sensors)
      fruConfig->serialToSensorMapIs(Pelm::String{serial}, Pelm::String{sensor});
   return fruConfig;
}

Entities entitiesOf(Config const & config) {
   Entities entities;
   entities.fruConfig = fruConfigOf(config);
   entities.pollInterval->intervalIs(static_cast<double>(config.pollInterval));
   for (auto const & [name, sensor] : config.sensors)
      entities.sensors->tempSensorIs(Pelm::String{name}, Pelm::String{sensor.description}, sensor.overheat,
                                     sensor.critical);
   return entities;
}

}  // namespace Agent
