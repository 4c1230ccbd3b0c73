#include "StorageDevices/NvmeSmartLog.h"

#include <rapidjson/document.h>

#include <cstdint>
#include <optional>
#include <string_view>

namespace StorageDevices {

Vorn::TraceHandle nvmeTraceHandle{"StorageNvmeDataMonitorSm", true};

namespace {

constexpr char parseAttrName[] =
    "StorageDevices::NvmeAttr StorageDevices::parseAttr(const Document&, const char*)";

constexpr std::string_view temperatureKey = "temperature";
constexpr std::int64_t zeroCelsius = 273;  // kelvin, rounded as in the log

std::optional<std::int64_t> attrValue(JsonValue const & value, std::string_view key) {
   if (key == temperatureKey)
      return value.IsInt() ? std::optional{value.GetInt() - zeroCelsius} : std::nullopt;
   return value.IsInt64() ? std::optional{value.GetInt64()} : std::nullopt;
}

}  // namespace

NvmeAttr parseAttr(JsonValue const & document, char const * key) {
   JsonValue const * const member = jsonMember(&document, key);
   if (!member) {
      VORN_TRACE(nvmeTraceHandle, 0) << parseAttrName << "Property " << key
                                     << " does not exist in nvme smart-log output";
      return {key, 0};
   }
   auto const value = attrValue(*member, key);
   if (!value)
      VORN_TRACE(nvmeTraceHandle, 0) << parseAttrName << "Property " << key << " is not in expected format";
   return {key, value.value_or(0)};
}

void parseAndInsertNvmeAttrs(JsonValue const & document, DeviceNvmeData & record) {
   for (NvmeField const & field : nvmeFields)
      (record.*field.set)(parseAttr(document, field.key));
}

}  // namespace StorageDevices
