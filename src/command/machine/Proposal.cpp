#include "command/machine/Proposal.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace Command {

namespace {

constexpr std::string_view mountRoot = "/mnt/";

// Names that mean a fixed disk whatever the configuration expects.
bool isAlwaysFixed(std::string_view mount) {
   return mount == "flash" || mount == "drive" || mount == "drive2";
}

// A name that blockdev and the configuration can have.
bool isMountName(std::string_view name) {
   constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-+";
   return !name.empty() && name != "." && name != ".." &&
          name.find_first_not_of(allowed) == std::string_view::npos;
}

// The NAME of the first mount point that is /mnt/NAME; empty without one.
std::string mountNameOf(MachineDisk const & disk) {
   for (std::string_view mountPoint : disk.mountPoints)
      if (mountPoint.starts_with(mountRoot) && isMountName(mountPoint.substr(mountRoot.size())))
         return std::string{mountPoint.substr(mountRoot.size())};
   return {};
}

bool isSystem(std::string_view mountPoint) {
   for (std::string_view const place : {"/", "/usr", "/var", "/etc", "/boot"})
      if (mountPoint == place)
         return true;
   return mountPoint.starts_with("/boot/");
}

std::string joined(std::vector<std::string> const & words) {
   std::string text;
   for (std::string const & word : words)
      text.append(text.empty() ? "" : ", ").append(word);
   return text;
}

class Proposing {
 public:
   explicit Proposing(std::vector<MachineDisk> const & disks) : disks_{disks} {
      for (MachineDisk const & disk : disks)
         if (std::string name = mountNameOf(disk); !name.empty())
            taken_.insert(std::move(name));
   }

   ProposedDisk propose(MachineDisk const & disk) {
      if (!disk.obstacle.empty())
         return {disk, "", false, {disk.obstacle}};
      if (std::vector<std::string> why = whyNotListed(disk); !why.empty())
         return {disk, "", false, std::move(why)};
      ProposedDisk proposed = named(disk);
      if (!disk.port.kept.empty())
         proposed.reasons.push_back("after a reboot run check-config: the kernel allots the number in " +
                                    joined(disk.port.kept));
      return proposed;
   }

 private:
   std::vector<std::string> whyNotListed(MachineDisk const & disk) const {
      if (!disk.port.isPort)
         return {"its path names no port"};
      for (MachineDisk const & other : disks_)
         if (other.device != disk.device && other.port.general == disk.port.general)
            return {"its port cannot be told apart from that of " + other.device + " after a reboot",
                    "the kernel allots the numbers in which their paths differ"};
      return {};
   }

   ProposedDisk named(MachineDisk const & disk) {
      std::string const name = mountNameOf(disk);
      bool const isFirst = !name.empty() && given_.insert(name).second;
      if (isFirst)
         return mounted(disk, name);
      if (!name.empty())
         return {disk,
                 freeName("disk"),
                 false,
                 {"another disk is listed as /mnt/" + name + ", which is on several"}};
      if (std::any_of(disk.mountPoints.begin(), disk.mountPoints.end(), isSystem))
         return {
             disk, freeName("system"), false, {"the system runs from it, so its file system is not tested"}};
      if (!disk.mountPoints.empty())
         return {
             disk,
             freeName("disk"),
             false,
             {"it is mounted at " + disk.mountPoints.front(), "file systems are tested at /mnt/NAME alone"}};
      if (!disk.users.empty())
         return {disk, freeName("disk"), false, {"it is a part of " + joined(disk.users)}};
      if (disk.isRemovable)
         return {disk, freeName(disk.isUsb ? "usb" : "card"), false, {"it may come and go"}};
      return {disk, freeName("disk"), false, {"nothing of it is mounted: once it is, run init again"}};
   }

   static ProposedDisk mounted(MachineDisk const & disk, std::string const & name) {
      if (disk.isRemovable && !isAlwaysFixed(name))
         return {disk, name, false, {"it is mounted there, and may come and go"}};
      return {disk, name, true, {"it is mounted there"}};
   }

   // "system" as it is if it is free; others with a number.
   std::string freeName(std::string const & word) {
      if (word == "system" && taken_.insert(word).second)
         return word;
      for (int number = 1;; ++number)
         if (std::string name = word + std::to_string(number); taken_.insert(name).second)
            return name;
   }

   std::vector<MachineDisk> const & disks_;
   std::set<std::string> taken_;  // names of mount points, and names that were given
   std::set<std::string> given_;  // names of mount points that a disk has got
};

}  // namespace

std::string Proposal::blockdev() const {
   std::string text;
   for (ProposedDisk const & each : disks)
      if (!each.mount.empty())
         text += each.disk.port.pattern + "  " + each.mount + "\n";
   return text;
}

std::vector<std::string> Proposal::expectedMounts() const {
   std::vector<std::string> mounts;
   for (ProposedDisk const & each : disks)
      if (each.isFixed)
         mounts.push_back(each.mount);
   std::sort(mounts.begin(), mounts.end());
   return mounts;
}

Proposal proposal(std::vector<MachineDisk> const & disks) {
   Proposal result;
   Proposing proposing{disks};
   for (MachineDisk const & disk : disks)
      result.disks.push_back(proposing.propose(disk));
   return result;
}

void verify(Proposal & proposal, StorageDevices::DiscoveryPreview const & preview) {
   for (ProposedDisk & each : proposal.disks) {
      auto const found = std::find_if(preview.devices.begin(), preview.devices.end(),
                                      [&](auto const & device) { return device.device == each.disk.device; });
      bool const isListed = !each.mount.empty();
      bool const isThere = found != preview.devices.end();
      if (isListed && isThere && found->mountPoint == "/mnt/" + each.mount &&
          (found->outcome == "fixed") == each.isFixed)
         continue;
      if (isListed)
         each = {
             each.disk,
             "",
             false,
             {"no pattern gives it a place of its own" + (isThere ? ": " + found->reason : std::string{})}};
   }
}

}  // namespace Command
