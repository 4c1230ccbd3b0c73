// Finds one device in the output of `nvme list -o json`.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace StorageDevices {

// The device's entry in the list. A value that is missing or of another type keeps its default, and its
// `Failed` flag is set.
struct NvmeListDevice {
   std::string model = "Unknown";   // "ModelNumber", unchanged
   std::string serial = "Unknown";  // "SerialNumber" without its leading white space
   std::string firmware = "0.0";    // "Firmware", unchanged
   std::uint32_t sizeGb = 0;        // "PhysicalSize", bytes in the list; in gigabytes of 10^9 bytes, rounded

   bool modelFailed = false;
   bool serialFailed = false;
   bool firmwareFailed = false;
   bool sizeFailed = false;  // also when the size in gigabytes does not fit 32 bits

   bool operator==(NvmeListDevice const &) const = default;
};

struct NvmeList {
   enum class Outcome {
      device,         // `device` has the entry
      jsonError,      // the output is no JSON; `jsonError` is the reason
      malformedRoot,  // its root is no object
      noDevices,      // the root has no array "Devices"
      malformedList,  // the device is not in it, or something that is no object comes before it
   };

   Outcome outcome = Outcome::malformedList;
   NvmeListDevice device;
   std::string_view jsonError;  // a constant text
};

// Finds the first device whose "DevicePath" is `devicePath`. Skips devices with another path or none. The
// output ends at its first NUL.
NvmeList readNvmeList(std::string_view output, std::string_view devicePath);

}  // namespace StorageDevices
