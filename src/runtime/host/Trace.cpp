#include "runtime/host/Trace.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <utility>

#include "runtime/Vorn/HostSide.h"
#include "runtime/Vorn/Trace.h"

namespace Vorn::Host {

namespace {

// Static initialisers of any library create handles, so the registry is created at its first use. It is never
// destroyed, since a handle could outlive it.
struct Registry {
   std::mutex mutex;  // libraries may be loaded on another thread than the reactor's
   std::vector<Vorn::TraceHandle *> handles;
   std::map<std::string, int, std::less<>> levels;  // set by the host
   TraceSink sink;
};

Registry & registry() {
   static auto * const instance = new Registry;
   return *instance;
}

}  // namespace

void traceSinkIs(TraceSink sink) {
   registry().sink = std::move(sink);
}

void traceLevelIs(std::string_view facility, int level) {
   std::lock_guard const lock{registry().mutex};
   registry().levels.insert_or_assign(std::string{facility}, level);
   for (Vorn::TraceHandle * const handle : registry().handles)
      if (handle->facility() == facility)
         handle->levelIs(level);
}

std::vector<std::string> traceFacilities() {
   std::lock_guard const lock{registry().mutex};
   std::vector<std::string> names;
   for (Vorn::TraceHandle const * const handle : registry().handles)
      names.emplace_back(handle->facility());
   std::sort(names.begin(), names.end());
   names.erase(std::unique(names.begin(), names.end()), names.end());
   return names;
}

}  // namespace Vorn::Host

namespace Vorn::HostSide {

void facilityAdd(TraceHandle & handle, int defaultLevel) {
   std::lock_guard const lock{Vorn::Host::registry().mutex};
   auto const set = Vorn::Host::registry().levels.find(std::string_view{handle.facility()});
   handle.levelIs(set == Vorn::Host::registry().levels.end() ? defaultLevel : set->second);
   Vorn::Host::registry().handles.push_back(&handle);
}

void facilityRemove(TraceHandle & handle) {
   std::lock_guard const lock{Vorn::Host::registry().mutex};
   std::erase(Vorn::Host::registry().handles, &handle);
}

void emit(TraceLine const & line) {
   if (Vorn::Host::TraceSink const & sink = Vorn::Host::registry().sink)
      sink(line);
}

}  // namespace Vorn::HostSide
