#include "StorageDevices/NvmeList.h"

#include <rapidjson/document.h>

#include <optional>

#include "StorageDevices/CharacterClasses.h"
#include "StorageDevices/JsonDocument.h"
#include "StorageDevices/SizeGb.h"

namespace StorageDevices {

namespace {

JsonValue const * findDevice(JsonValue const & devices, std::string_view devicePath) {
   for (JsonValue const & device : devices.GetArray()) {
      if (!device.IsObject())
         return nullptr;
      if (jsonString(jsonMember(&device, "DevicePath")) == devicePath)
         return &device;
   }
   return nullptr;
}

std::string_view withoutLeadingSpace(std::string_view text) {
   while (!text.empty() && isSpace(text.front()))
      text.remove_prefix(1);
   return text;
}

// Answers whether the value was missing.
bool readInto(std::string & text, std::optional<std::string_view> value) {
   if (value)
      text = *value;
   return !value;
}

NvmeListDevice readDevice(JsonValue const & device) {
   NvmeListDevice result;
   result.modelFailed = readInto(result.model, jsonString(jsonMember(&device, "ModelNumber")));
   auto serial = jsonString(jsonMember(&device, "SerialNumber"));
   if (serial)
      serial = withoutLeadingSpace(*serial);
   result.serialFailed = readInto(result.serial, serial);
   result.firmwareFailed = readInto(result.firmware, jsonString(jsonMember(&device, "Firmware")));
   auto const bytes = jsonUnsigned(jsonMember(&device, "PhysicalSize"));
   auto const size = bytes ? gigabytes(*bytes) : std::nullopt;
   result.sizeGb = size.value_or(0);
   result.sizeFailed = !size;
   return result;
}

NvmeList failure(NvmeList::Outcome outcome, std::string_view jsonError = {}) {
   NvmeList list;
   list.outcome = outcome;
   list.jsonError = jsonError;
   return list;
}

}  // namespace

NvmeList readNvmeList(std::string_view output, std::string_view devicePath) {
   JsonDocument const document(output);
   if (!document.isValid())
      return failure(NvmeList::Outcome::jsonError, document.error());
   if (!document.root().IsObject())
      return failure(NvmeList::Outcome::malformedRoot);
   auto const * devices = jsonMember(&document.root(), "Devices");
   if (devices == nullptr || !devices->IsArray())
      return failure(NvmeList::Outcome::noDevices);
   auto const * device = findDevice(*devices, devicePath);
   if (device == nullptr)
      return failure(NvmeList::Outcome::malformedList);
   NvmeList list;
   list.outcome = NvmeList::Outcome::device;
   list.device = readDevice(*device);
   return list;
}

}  // namespace StorageDevices
