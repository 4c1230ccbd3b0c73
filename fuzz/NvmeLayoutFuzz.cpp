// The filter leaves any output of nvme unchanged, or makes an output that it leaves unchanged. The library
// can read the result wherever it could read the original.
#include <cstddef>
#include <cstdint>
#include <string>

#include "Check.h"
#include "StorageDevices/JsonDocument.h"
#include "nvme-compat/NvmeLayout.h"
#include "nvme-compat/WholeNumber.h"

namespace {

using NvmeCompat::Layout;

void checkLayout(NvmeCompat::NvmeCommand command, std::string const & output) {
   Layout const layout = NvmeCompat::knownLayout(command, output);
   FUZZ_CHECK((layout.kind == Layout::Kind::unchanged) <= layout.text.empty());
   if (layout.kind == Layout::Kind::error)
      FUZZ_CHECK(layout.text.find('\n') == std::string::npos && layout.text.size() <= 1000);
   if (layout.kind != Layout::Kind::rewritten)
      return;
   FUZZ_CHECK(layout.text != output);
   FUZZ_CHECK(NvmeCompat::knownLayout(command, layout.text).kind == Layout::Kind::unchanged);
   bool const wasValid = StorageDevices::JsonDocument(output).isValid();
   FUZZ_CHECK(wasValid <= StorageDevices::JsonDocument(layout.text).isValid());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const output(data, data + size);
   checkLayout(NvmeCompat::NvmeCommand::smartLog, output);
   checkLayout(NvmeCompat::NvmeCommand::list, output);
   for (auto const & number :
        {NvmeCompat::truncatedJsonNumber(output), NvmeCompat::truncatedQuotedNumber(output)})
      FUZZ_CHECK(!number || *number >= 0);
   return 0;
}
