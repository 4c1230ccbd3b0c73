#include "StorageDevices/EusbModel.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "StorageDevices/CharacterClasses.h"

namespace StorageDevices {

namespace {

constexpr std::string_view byIdFolder = "/dev/disk/by-id/";

// The name of the first link in the by-id folder.
std::optional<std::string_view> findLinkName(std::string_view devlinks) {
   for (;;) {
      auto const * const begin = std::find_if_not(devlinks.begin(), devlinks.end(), isSpace);
      if (begin == devlinks.end())
         return std::nullopt;
      auto const * const end = std::find_if(begin, devlinks.end(), isSpace);
      std::string_view const link(begin, end);
      if (link.starts_with(byIdFolder))
         return link.substr(byIdFolder.size());
      devlinks = std::string_view(end, devlinks.end());
   }
}

std::string orUnknown(std::string_view text) {
   return std::string(text.empty() ? "Unknown" : text);
}

}  // namespace

std::string eusbModel(std::string_view devlinks, std::string_view serial, std::string_view model) {
   auto const name = findLinkName(devlinks);
   std::size_t const hyphen = name ? name->find('-') : std::string_view::npos;
   if (serial.empty() || hyphen == std::string_view::npos)
      return std::string(model);
   std::string_view const modelAndSerial = name->substr(hyphen + 1);
   std::size_t const at = modelAndSerial.find(serial, 1);  // behind at least the separator
   if (at == std::string_view::npos)
      return std::string(model);
   return std::string(modelAndSerial.substr(0, at - 1));
}

EusbIdentity eusbIdentity(std::string_view devlinks, std::string_view serial, std::string_view model,
                          std::string_view firmware) {
   return {orUnknown(eusbModel(devlinks, serial, model)), orUnknown(serial), orUnknown(firmware)};
}

}  // namespace StorageDevices
