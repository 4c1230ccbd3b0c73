#include "tests/endurance/World.h"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <stdexcept>
#include <utility>

#include "tests/endurance/ScarceMemory.h"

namespace Endurance {

namespace {

constexpr std::uint64_t sectorsPerGigabyte = 1U << 21U;
constexpr std::array errors{EIO, EAGAIN, ENOSPC, EINVAL, EROFS, EACCES};

using Set = std::function<void(PlaceState &, Event const &)>;

template <class Field>
Set field(Field Health::*which) {
   return [which](PlaceState & place, Event const & event) {
      place.health.*which = static_cast<Field>(event.number);
   };
}

ToolAct actOf(std::string const & word) {
   auto const * const found = std::find(toolActs.begin(), toolActs.end(), word);
   if (found == toolActs.end())
      throw std::runtime_error{"no act of a tool: " + word};
   return static_cast<ToolAct>(found - toolActs.begin());
}

MountState mountOf(std::string const & word) {
   static std::map<std::string, MountState> const states{{"good", MountState::good},
                                                         {"read-only", MountState::readOnly},
                                                         {"gone", MountState::gone},
                                                         {"other", MountState::other}};
   return states.at(word);
}

void ioIs(PlaceState & place, Event const & event) {
   auto const index = static_cast<std::size_t>(event.number);
   place.io = {event.detail, errors.at(index % errors.size()), index % 2 == 1};
}

std::map<std::string, Set> const & words() {
   static std::map<std::string, Set> const all{
       {"wears",
        [](auto & place, auto const & event) {
           place.health.lifeLeft = std::max(0, place.health.lifeLeft - static_cast<int>(event.number));
        }},
       {"writes",
        [](auto & place, auto const & event) {
           place.health.sectorsWritten += static_cast<std::uint64_t>(event.number) * sectorsPerGigabyte;
        }},
       {"new",
        [](auto & place, auto const &) {
           auto const written = place.health.sectorsWritten;
           place.health = {};
           place.health.sectorsWritten = written;
        }},
       {"temperature", field(&Health::temperature)},
       {"passed", field(&Health::passed)},
       {"below-threshold", field(&Health::belowThreshold)},
       {"reallocated", field(&Health::reallocated)},
       {"pending", field(&Health::pending)},
       {"uncorrectable", field(&Health::uncorrectable)},
       {"timeouts", field(&Health::timeouts)},
       {"media-errors", field(&Health::mediaErrors)},
       {"warning", field(&Health::warning)},
       {"spare", field(&Health::spare)},
       {"end-of-life", field(&Health::endOfLife)},
       {"tool",
        [](auto & place, auto const & event) {
           place.acts.at(static_cast<std::size_t>(event.number)) = actOf(event.detail);
        }},
       {"file", [](auto & place,
                   auto const & event) { place.files[event.detail] = static_cast<FileState>(event.number); }},
       {"full", [](auto & place, auto const & event) { place.usedPercent = static_cast<int>(event.number); }},
       {"folder", [](auto & place, auto const & event) { place.folder = event.number != 0; }},
       {"mount", [](auto & place, auto const & event) { place.mount = mountOf(event.detail); }},
       {"io", ioIs},
       {"kernel", [](auto &, auto const &) {}},
   };
   return all;
}

}  // namespace

World::World() {
   for (std::size_t i = 0; i < placeCount; ++i) {
      places_[i].place = &places[i];
      places_[i].number = static_cast<int>(i) + 1;
   }
}

PlaceState & World::place(std::string const & name) {
   auto * const found = std::find_if(places_.begin(), places_.end(),
                                     [&](PlaceState const & each) { return each.place->name == name; });
   if (found == places_.end())
      throw std::runtime_error{"no place: " + name};
   return *found;
}

PlaceState const & World::at(std::string const & place) const {
   return const_cast<World *>(this)->place(place);
}

bool World::apply(Event const & event) {
   if (event.word == "tools-well") {
      toolsWell();
      return true;
   }
   if (event.word == "interval")
      return std::exchange(interval_, static_cast<double>(event.number)) != interval_;
   if (event.word == "memory") {
      scarceMemory_ = event.number == 0 && memoryCanBeScarce();
      return true;
   }
   for (char const * const whole : {"clock", "sleep", "restart", "forget"})
      if (event.word == whole)
         return true;
   return applyTo(place(event.place), event);
}

bool World::applyTo(PlaceState & place, Event const & event) {
   if (event.word == "pull")
      return std::exchange(place.present, false);
   if (event.word == "change")
      return place.present;
   if (event.word.starts_with("plug"))
      return plug(place, event);
   auto const found = words().find(event.word);
   if (found == words().end())
      throw std::runtime_error{"no event: " + event.word};
   found->second(place, event);
   return true;
}

bool World::plug(PlaceState & place, Event const & event) {
   if (std::exchange(place.present, true))
      return false;
   place.kernelName = static_cast<std::size_t>(event.number) % place.place->kernelName.size();
   if (event.word == "plug-new") {
      place.number = ++newest_;
      place.health = {};
   }
   place.health.sectorsWritten = 0;
   return true;
}

void World::toolsWell() {
   for (PlaceState & place : places_) {
      place.acts = {};
      place.files.clear();
      place.io = {"none"};
      place.folder = true;
   }
}

}  // namespace Endurance
