// What `storagedevices init` proposes: which disk is listed under which name, and why.
#pragma once

#include <string>
#include <vector>

#include "command/machine/MachineDisks.h"

namespace Command {

struct ProposedDisk {
   MachineDisk disk;
   std::string mount;                   // name below /mnt; empty: it is not listed
   bool isFixed = false;                // expected at that place
   std::vector<std::string> reasons{};  // sentences without full stops
};

struct Proposal {
   std::vector<ProposedDisk> disks;

   // The file blockdev, an entry on each line.
   std::string blockdev() const;
   // The key of the configuration, sorted.
   std::vector<std::string> expectedMounts() const;
};

// A disk that is mounted at /mnt/NAME gets this name, and is expected there unless it is made to be pulled.
// The system's own disk, and disks that are mounted elsewhere or not at all, get names of their own: they are
// watched, but no file system is tested and none is missed. A disk whose port cannot be told apart from
// another's is not listed.
Proposal proposal(std::vector<MachineDisk> const & disks);

// Takes those disks out of the list that discovery would not classify as proposed, with what it says of them.
// Afterwards each listed disk becomes what is proposed.
void verify(Proposal & proposal, StorageDevices::DiscoveryPreview const & preview);

}  // namespace Command
