// What the script has made of the unit so far. The unit and the model each have one, so that both understand
// an event in the same way; what follows from it, each finds for itself.
#pragma once

#include <array>
#include <map>
#include <string>

#include "tests/endurance/Places.h"
#include "tests/endurance/Script.h"

namespace Endurance {

enum class FileState { good, missing, noise, other };  // `other` of a mount-source file alone
enum class MountState { good, readOnly, gone, other };
enum class Tool { smartctl, smartLog, identify };

struct IoFault {
   std::string call;  // "open", "lseek", "write", "fsync", "read", "lies", or "none"
   int error = 0;
   bool readLies = false;  // of the two ways to lie; else the write is short
};

struct PlaceState {
   Place const * place = nullptr;
   bool present = true;
   int number = 0;  // of the disk
   std::size_t kernelName = 0;
   Health health;
   std::array<ToolAct, 3> acts{};
   std::map<std::string, FileState> files;
   MountState mount = MountState::good;
   bool folder = true;  // at the mount point
   int usedPercent = 50;
   IoFault io{"none"};

   std::string kernel() const { return std::string{place->kernelName[kernelName]}; }
   std::string node() const { return "/dev/" + kernel(); }
   std::string mountPoint() const { return "/mnt/" + std::string{place->mount}; }
   ToolAct act(Tool tool) const { return acts[static_cast<std::size_t>(tool)]; }
   FileState file(std::string const & name) const {
      auto const found = files.find(name);
      return found == files.end() ? FileState::good : found->second;
   }
};

class World {
 public:
   World();

   // False for an event that changes nothing here: a pull of what is not there, or one of the unit's whole.
   // Throws std::runtime_error for a word or a place that it does not know.
   bool apply(Event const & event);

   PlaceState const & at(std::string const & place) const;
   std::array<PlaceState, placeCount> const & all() const { return places_; }
   double interval() const { return interval_; }
   bool hasScarceMemory() const { return scarceMemory_; }

 private:
   PlaceState & place(std::string const & name);
   bool applyTo(PlaceState & place, Event const & event);
   bool plug(PlaceState & place, Event const & event);
   void toolsWell();

   std::array<PlaceState, placeCount> places_;
   int newest_ = placeCount;  // number of the newest disk
   double interval_ = 60;
   bool scarceMemory_ = false;
};

}  // namespace Endurance
