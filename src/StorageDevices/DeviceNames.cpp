#include "StorageDevices/DeviceNames.h"

#include <cstddef>

#include "StorageDevices/CharacterClasses.h"

namespace StorageDevices {

namespace {

bool take(std::string_view & text, std::string_view what) {
   if (!text.starts_with(what))
      return false;
   text.remove_prefix(what.size());
   return true;
}

// Removes leading digits; answers whether there was at least one.
bool takeDigits(std::string_view & text) {
   std::size_t count = 0;
   while (count < text.size() && isDigit(text[count]))
      ++count;
   text.remove_prefix(count);
   return count > 0;
}

}  // namespace

bool isScsiDiskName(std::string_view name) {
   return name.size() == 3 && (name[0] == 'h' || name[0] == 's') && name[1] == 'd' && name[2] >= 'a' &&
          name[2] <= 'z';
}

bool isNvmeDiskName(std::string_view name) {
   return take(name, "nvme") && takeDigits(name) && take(name, "n") && takeDigits(name) && name.empty();
}

bool isEmmcDiskName(std::string_view name) {
   take(name, "e");
   return take(name, "mmcblk") && takeDigits(name) && name.empty();
}

std::optional<std::string> withoutWhiteboxTail(std::string_view pattern) {
   std::size_t const slash = pattern.rfind('/');
   if (slash == std::string_view::npos)
      return std::nullopt;
   std::string_view const head = pattern.substr(0, slash);
   std::string_view tail = pattern.substr(slash + 1);
   takeDigits(tail);
   take(tail, ".");
   take(tail, "*");
   take(tail, "$");
   if (!tail.empty() || head.find_first_of("\n\r") != std::string_view::npos)
      return std::nullopt;
   return std::string(head);
}

}  // namespace StorageDevices
