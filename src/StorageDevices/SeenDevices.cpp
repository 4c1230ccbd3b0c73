#include "StorageDevices/SeenDevices.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <unordered_set>

namespace StorageDevices {

bool isInSysfs(Pelm::String const & sysPath) {
   return access(sysPath.data(), F_OK) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

SeenDevices::Seen const * SeenDevices::seen(Pelm::String const & sysPath) const {
   auto const found = seen_.find(sysPath);
   return found == seen_.end() ? nullptr : &found->second;
}

Pelm::String SeenDevices::pathOf(Pelm::String const & udevSerial) const {
   auto const found = std::find_if(seen_.begin(), seen_.end(), [&](auto const & each) {
      return each.second.classification && each.second.udevSerial == udevSerial;
   });
   return found == seen_.end() ? Pelm::String{} : found->first;
}

bool SeenDevices::isPresent(Pelm::String const & udevSerial, Pelm::String const & node) const {
   return std::any_of(seen_.begin(), seen_.end(), [&](auto const & each) {
      auto const & [sysPath, seen] = each;
      return seen.udevSerial == udevSerial && seen.classification &&
             seen.classification->disk->blockDevice() == node && isInSysfs(sysPath);
   });
}

void SeenDevices::serialDel(Pelm::String const & udevSerial) {
   std::erase_if(seen_, [&](auto const & each) { return each.second.udevSerial == udevSerial; });
}

void SeenDevices::goneDel() {
   std::unordered_set<Pelm::String> serials;
   for (auto const & [sysPath, seen] : seen_)
      if (!isInSysfs(sysPath))
         serials.insert(seen.udevSerial);
   for (Pelm::String const & serial : serials)
      serialDel(serial);
}

bool SeenDevices::isGone(Pelm::String const & udevSerial, Scan const & scan) const {
   auto const & serials = scan.serials;
   if (std::any_of(serials.begin(), serials.end(),
                   [&](auto const & each) { return each.second == udevSerial; }))
      return false;
   bool isKnown = false;
   for (auto const & [sysPath, seen] : seen_) {
      if (!(seen.udevSerial == udevSerial))
         continue;
      isKnown = true;
      auto const found = serials.find(sysPath);
      if (found == serials.end() ? isInSysfs(sysPath) : found->second.empty())
         return false;
   }
   // A device that could not be read may have that serial.
   return isKnown || scan.complete;
}

}  // namespace StorageDevices
