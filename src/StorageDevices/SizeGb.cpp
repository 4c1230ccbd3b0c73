#include "StorageDevices/SizeGb.h"

#include <limits>

#include "base/Number.h"

namespace StorageDevices {

std::optional<std::uint32_t> gigabytes(std::uint64_t bytes) {
   std::uint64_t const roundUp = (bytes % bytesPerGb) * 2 >= bytesPerGb ? 1 : 0;
   std::uint64_t const size = bytes / bytesPerGb + roundUp;
   if (size > std::numeric_limits<std::uint32_t>::max())
      return std::nullopt;
   return static_cast<std::uint32_t>(size);
}

std::uint32_t sizeGbFromSectors(std::string_view sectors) {
   if (sectors.ends_with('\n'))
      sectors.remove_suffix(1);
   auto const count = Base::parseWhole<std::uint64_t>(sectors);
   if (!count || *count > std::numeric_limits<std::uint64_t>::max() / bytesPerBlock)
      return 0;
   return gigabytes(*count * bytesPerBlock).value_or(0);
}

}  // namespace StorageDevices
