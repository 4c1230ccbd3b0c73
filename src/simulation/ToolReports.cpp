#include <algorithm>

#include "simulation/FakeTools.h"

namespace Agent::Simulation {

namespace {

constexpr std::uint64_t sectorBytes = 512;

std::string padded(std::string text, std::size_t width) {
   text.resize(std::max(width, text.size()), ' ');
   return text;
}

std::string rightAligned(std::uint64_t number, std::size_t width) {
   auto const text = std::to_string(number);
   return std::string(width - std::min(width, text.size()), ' ') + text;
}

std::string quotedForJson(std::string_view text) {
   static constexpr std::string_view digits = "0123456789abcdef";
   std::string quoted = "\"";
   for (char const c : text) {
      auto const byte = static_cast<unsigned char>(c);
      if (c == '"' || c == '\\')
         quoted.append(1, '\\').append(1, c);
      else if (byte < 0x20)
         quoted.append("\\u00").append(1, digits[byte >> 4U]).append(1, digits[byte & 15U]);
      else
         quoted += c;
   }
   return quoted + '"';
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
   std::string text = "{\n  \"Devices\":[";
   std::string_view separator = "\n";
   for (auto const & drive : drives) {
      text.append(separator).append("    {\n      \"NameSpace\":1,\n");
      text.append("      \"DevicePath\":").append(quotedForJson("/dev/" + drive.name)).append(",\n");
      text.append("      \"Firmware\":").append(quotedForJson(drive.firmware)).append(",\n");
      text.append("      \"ModelNumber\":").append(quotedForJson(drive.model)).append(",\n");
      text.append("      \"SerialNumber\":").append(quotedForJson(drive.serial)).append(",\n");
      text.append("      \"UsedBytes\":").append(std::to_string(drive.bytes)).append(",\n");
      text.append("      \"MaximumLBA\":").append(std::to_string(drive.bytes / sectorBytes)).append(",\n");
      text.append("      \"PhysicalSize\":").append(std::to_string(drive.bytes)).append(",\n");
      text.append("      \"SectorSize\":512\n    }");
      separator = ",\n";
   }
   return text + (drives.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

}  // namespace Agent::Simulation
