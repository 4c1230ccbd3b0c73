// Any file reads as words within the bounds, with its end at the end of the file or at a read error.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "Check.h"
#include "StorageDevices/ApplianceFiles.h"

namespace {

void checkWord(std::string_view word) {
   FUZZ_CHECK(!word.empty() && word.size() <= StorageDevices::ApplianceFileBounds::wordBytes);
   FUZZ_CHECK(word.find_first_of(" \t\n\v\f\r") == std::string_view::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const text(data, data + size);
   std::istringstream blockdevFile(text);
   std::istringstream multidriveFile(text);
   std::istringstream multidriveSrcFile(text);
   auto const blockdev = StorageDevices::readBlockdev(blockdevFile);
   auto const multidrive = StorageDevices::readMultidrive(multidriveFile);
   auto const source = StorageDevices::readMultidriveSrc(multidriveSrcFile);
   for (auto const & entry : blockdev.entries) {
      checkWord(entry.mount);
      if (!entry.whiteboxModified)
         checkWord(entry.pattern);
   }
   for (auto const & pattern : multidrive.patterns)
      checkWord(pattern);
   FUZZ_CHECK(blockdev.readError == multidrive.readError);
   FUZZ_CHECK(blockdev.entries.size() == multidrive.patterns.size() / 2);
   FUZZ_CHECK(source.pattern.has_value() == !multidrive.patterns.empty());
   FUZZ_CHECK(!source.pattern || *source.pattern == multidrive.patterns.front());
   // Only an overlong word can stop the reading of a text as short as this.
   FUZZ_CHECK(!blockdev.readError || size > StorageDevices::ApplianceFileBounds::wordBytes);
   return 0;
}
