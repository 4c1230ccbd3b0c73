#include <algorithm>

#include "base/JsonText.h"
#include "simulation/DriveHealth.h"
#include "simulation/FakeTools.h"

namespace StorageDevices::Simulation {

namespace {

std::string padded(std::string text, std::size_t width) {
   text.resize(std::max(width, text.size()), ' ');
   return text;
}

std::string rightAligned(std::uint64_t number, std::size_t width) {
   auto const text = std::to_string(number);
   return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string hdparmSizes(std::uint64_t sectors) {
   auto const bytes = sectors * sectorBytes;
   return "\tLBA48  user addressable sectors:" + rightAligned(sectors, 12) +
          "\n"
          "\tdevice size with M = 1024*1024: " +
          rightAligned(bytes / 1048576, 11) +
          " MBytes\n"
          "\tdevice size with M = 1000*1000: " +
          rightAligned(bytes / 1000000, 11) + " MBytes (" + std::to_string(bytes / 1000000000) + " GB)\n";
}

}  // namespace

std::string hdparmReport(HdparmIdentity const & identity) {
   return "\n/dev/" + identity.name +
          ":\n"
          "\n"
          "ATA device, with non-removable media\n"
          "\tModel Number:       " +
          padded(identity.model, 40) +
          "\n"
          "\tSerial Number:      " +
          padded(identity.serial, 20) +
          "\n"
          "\tFirmware Revision:  " +
          padded(identity.firmware, 8) +
          "\n"
          "Standards:\n"
          "\tSupported: 9 8 7 6 5 \n"
          "\tLikely used: 9\n"
          "Configuration:\n" +
          hdparmSizes(identity.sectors) + "Checksum: correct\n";
}

std::string nvmeListDocument(std::vector<NvmeIdentity> const & drives) {
   Base::JsonBuffer text;
   Base::JsonWriter writer{text};
   writer.StartObject();
   writer.Key("Devices");
   writer.StartArray();
   for (auto const & drive : drives) {
      writer.StartObject();
      Base::writeMember(writer, "NameSpace", 1);
      Base::writeMember(writer, "DevicePath", "/dev/" + drive.name);
      Base::writeMember(writer, "Firmware", drive.firmware);
      Base::writeMember(writer, "ModelNumber", drive.model);
      Base::writeMember(writer, "SerialNumber", drive.serial);
      Base::writeMember(writer, "UsedBytes", drive.bytes);
      Base::writeMember(writer, "MaximumLBA", drive.bytes / sectorBytes);
      Base::writeMember(writer, "PhysicalSize", drive.bytes);
      Base::writeMember(writer, "SectorSize", sectorBytes);
      writer.EndObject();
   }
   writer.EndArray();
   writer.EndObject();
   return std::string{text.GetString(), text.GetSize()} + "\n";
}

}  // namespace StorageDevices::Simulation
