#include "StorageDevices/ApplianceTracker.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "base/Companion.h"

namespace StorageDevices {

namespace {

// Of this library's file; empty if the system does not say.
std::filesystem::path libraryDirectory() {
   Dl_info place{};
   if (dladdr(reinterpret_cast<void const *>(&nvmeFilterDirectory), &place) == 0 || !place.dli_fname)
      return {};
   std::error_code unknown;
   return std::filesystem::canonical(place.dli_fname, unknown).parent_path();
}

std::string searchPath(ToolRules const & rules) {
   std::string const filter = rules.nvmeCompat ? nvmeFilterDirectory() : std::string{};
   return filter + (filter.empty() || rules.path.empty() ? "" : ":") + rules.path;
}

}  // namespace

std::string nvmeFilterDirectory() {
   // In an installed tree, in the tree of a build.
   return Base::programBelow(libraryDirectory(), {STORAGEDEVICES_NVME_FILTER, "../nvme-compat/nvme"})
       .parent_path();
}

void toolRulesIs(Brul::ChildProcessTrackerSm & tracker, ToolRules const & rules) {
   tracker.toolPathIs(Pelm::String{searchPath(rules)});
   tracker.timeLimitIs(rules.timeout);
   tracker.failurePolicyIs([accepted = rules.acceptExitBits](Pelm::String const & program, int exitCode) {
      auto const bits = accepted.find(program.str());
      return bits == accepted.end() || (exitCode & ~int{bits->second}) != 0;
   });
}

Pelm::Ptr<Brul::ChildProcessTrackerSm> applianceTracker(ToolRules const & rules) {
   auto tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   toolRulesIs(*tracker, rules);
   return tracker;
}

}  // namespace StorageDevices
