#include "runtime/model/MountPtMonitorHelper.h"

#include <utility>

#include "runtime/model/MountTable.h"

namespace {

MountPtMonitorHelperCreator & hostsCreator() {
   static MountPtMonitorHelperCreator creator;
   return creator;
}

}  // namespace

MountPtMonitorHelper::MountState MountPtMonitorHelper::mountState(Pelm::String const & mountPt) const {
   auto const mounts = Mounts::mountsAt(mountPt);
   if (mounts.empty())
      return {};
   Mounts::Mount const & seen = mounts.back();
   return {true, seen.readOnly, seen.device, seen.blkSize};
}

Pelm::Ptr<MountPtMonitorHelper> newMountPtMonitorHelper() {
   return hostsCreator() ? hostsCreator()() : Pelm::make<MountPtMonitorHelper>();
}

void mountPtMonitorHelperCreatorIs(MountPtMonitorHelperCreator creator) {
   hostsCreator() = std::move(creator);
}
