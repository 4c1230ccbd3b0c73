// Reading any output as a device list gives one of the documented results, with consistent values.
#include <cstddef>
#include <cstdint>
#include <string>

#include "Check.h"
#include "StorageDevices/JsonDocument.h"
#include "StorageDevices/NvmeList.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   using StorageDevices::NvmeList;
   std::string const output(data, data + size);
   StorageDevices::JsonDocument const document(output);
   NvmeList const list = StorageDevices::readNvmeList(output, "/dev/nvme0n1");
   FUZZ_CHECK((list.outcome == NvmeList::Outcome::jsonError) == !document.isValid());
   FUZZ_CHECK(list.jsonError == document.error());
   if (list.outcome != NvmeList::Outcome::device) {
      FUZZ_CHECK(list.device == StorageDevices::NvmeListDevice());
      return 0;
   }
   auto const & device = list.device;
   FUZZ_CHECK(output.find("Devices") != std::string::npos || output.find('\\') != std::string::npos);
   FUZZ_CHECK(!device.modelFailed || device.model == "Unknown");
   FUZZ_CHECK(!device.serialFailed || device.serial == "Unknown");
   FUZZ_CHECK(!device.firmwareFailed || device.firmware == "0.0");
   FUZZ_CHECK(!device.sizeFailed || device.sizeGb == 0);
   FUZZ_CHECK(device.serial.empty() || device.serial.find_first_of(" \t\n\v\f\r") != 0);
   return 0;
}
