// Any smart log sets all fields, each to a number of the log or to 0.
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

#include "Check.h"
#include "StorageDevices/JsonDocument.h"
#include "StorageDevices/NvmeSmartLog.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   using namespace StorageDevices;
   std::string const text(data, data + size);
   JsonDocument const document(text);
   if (!document.isValid())
      return 0;
   auto const record = Pelm::make<DeviceNvmeData>("SN1");
   parseAndInsertNvmeAttrs(document.root(), *record);
   for (NvmeField const & field : nvmeFields) {
      NvmeAttr const & attr = ((*record).*field.cell)();
      FUZZ_CHECK(attr.name == field.key);
      bool const isTemperature = attr.name == "temperature";
      std::int64_t const printed = attr.value + (isTemperature ? 273 : 0);
      FUZZ_CHECK(attr.value == 0 || text.find(std::to_string(printed)) != std::string::npos);
      FUZZ_CHECK(attr.value == 0 || text.find('{') != std::string::npos);
      FUZZ_CHECK(!isTemperature || attr.value == 0 ||
                 (printed >= std::numeric_limits<std::int32_t>::min() &&
                  printed <= std::numeric_limits<std::int32_t>::max()));
   }
   return 0;
}
