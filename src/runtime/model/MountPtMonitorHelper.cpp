#include "runtime/model/MountPtMonitorHelper.h"

#include <utility>

#include "runtime/model/MountTable.h"

namespace {

MountPtMonitorHelper::Creator & hostsCreator() {
   static MountPtMonitorHelper::Creator creator;
   return creator;
}

}  // namespace

MountPtMonitorHelper::MountState MountPtMonitorHelper::mountState(Pelm::String const & mountPt) const {
   auto const mounts = StorageDevices::Mounts::mountsAt(mountPt);
   if (mounts.empty())
      return {};
   StorageDevices::Mounts::Mount const & seen = mounts.back();
   return {true, seen.readOnly, seen.device, seen.blkSize};
}

Pelm::Ptr<MountPtMonitorHelper> MountPtMonitorHelper::make() {
   return hostsCreator() ? hostsCreator()() : Pelm::make<MountPtMonitorHelper>();
}

void MountPtMonitorHelper::creatorIs(Creator creator) {
   hostsCreator() = std::move(creator);
}
