// The short texts of udev and sysfs: the CID register, links, node names, patterns and sizes.
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "Check.h"
#include "StorageDevices/Cid.h"
#include "StorageDevices/DeviceNames.h"
#include "StorageDevices/EusbModel.h"
#include "StorageDevices/SizeGb.h"

namespace {

void checkCid(std::string_view text) {
   auto const result = StorageDevices::parseCid(text);
   auto const * error = std::get_if<StorageDevices::CidError>(&result);
   FUZZ_CHECK((text.size() != 32) == (error != nullptr && *error == StorageDevices::CidError::size));
   if (error != nullptr)
      return;
   auto const identity = StorageDevices::cidIdentity(std::get<StorageDevices::Cid>(result));
   FUZZ_CHECK(identity.serial.size() == 8 && identity.model.size() >= 4 + 1 + StorageDevices::Cid::pnmSize);
}

void checkEusb(std::string_view text) {
   std::size_t const cut = text.find('\n');
   std::string_view const links = text.substr(0, cut);
   std::string_view const serial = cut == std::string_view::npos ? "1" : text.substr(cut + 1);
   std::string const model = StorageDevices::eusbModel(links, serial, "before");
   FUZZ_CHECK(model == "before" || links.find(model) != std::string_view::npos);
   auto const identity = StorageDevices::eusbIdentity(links, serial, "", "");
   FUZZ_CHECK(!identity.model.empty() && !identity.serial.empty() && identity.firmware == "Unknown");
}

void checkNames(std::string_view text) {
   using namespace StorageDevices;
   FUZZ_CHECK(isScsiDiskName(text) + isNvmeDiskName(text) + isEmmcDiskName(text) <= 1);
   auto const head = withoutWhiteboxTail(text);
   FUZZ_CHECK(!head || (text.starts_with(*head) && text[head->size()] == '/'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const text(data, data + size);
   checkCid(text);
   checkCid(std::string_view(text).substr(0, 32));
   checkEusb(text);
   checkNames(text);
   bool const hasOtherThanDigits = text.find_first_not_of("0123456789\n") != std::string::npos;
   FUZZ_CHECK(!hasOtherThanDigits || StorageDevices::sizeGbFromSectors(text) == 0);
   return 0;
}
