// Lines in which a kernel tells an error of a storage device, in the words that the library looks for.
//
// Both take the text of a line behind its time stamp. What they give back is a text from which the library
// reads the disk, the card or the USB port that the line names; empty for every text that tells no error, or
// none of a device that it names. A request that the device refused counts as an error, as it does in the
// library's own expressions; what the device only announces (a reset, a changed medium) does not.
#pragma once

#include <string>
#include <string_view>

namespace Agent {

// Of the drivers of USB, ATA, SCSI, cards and NVMe. A line that names an NVMe controller is one of its first
// namespace: a disk has no other.
std::string driverError(std::string_view text);

// Of the block layer, the file systems, their journals and software RAID.
std::string blockError(std::string_view text);

}  // namespace Agent
