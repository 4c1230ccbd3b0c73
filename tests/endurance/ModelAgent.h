// What the model knows of the running agent; a restart makes it again.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/endurance/Model.h"

namespace Endurance {

struct Model::Agent {
   struct Repeated {
      explicit Repeated(Agenda & agenda) : timer(agenda, [this] { act(); }) {}
      std::function<void()> act;
      Timer timer;
   };

   Agent(Agenda & agenda, World const & world)
       : pollClock(agenda), statisticsClock(agenda), clockWatch(agenda), settle(agenda) {
      for (auto const & name : sensorPlaces) {
         PlaceState const & place = world.at(std::string{name});
         sensors.emplace(udevSerial(*place.place, place.number), std::make_unique<ModelSensor>(agenda));
      }
   }

   std::vector<std::unique_ptr<ModelDisk>> disks;  // in order of insertion
   std::map<std::string_view, std::unique_ptr<ModelCollector>> collectors;
   std::vector<ModelRecord> records;
   std::map<std::string_view, std::unique_ptr<ModelFileSystem>> fileSystems;
   std::map<std::string, std::unique_ptr<ModelSensor>> sensors;
   std::set<std::string> gone;  // fixed disks
   double lead = 0;             // of the wall clock before the other, when they were compared last
   bool monitors = false;       // whether the monitors poll
   bool waits = false;          // for the disks to be known
   bool ready = false;
   bool settled = false;
   Repeated pollClock;
   Repeated statisticsClock;
   Repeated clockWatch;
   Repeated settle;
};

}  // namespace Endurance
