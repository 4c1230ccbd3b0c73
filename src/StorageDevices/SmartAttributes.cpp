#include "StorageDevices/SmartAttributes.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <utility>

#include "StorageDevices/KnownSmartAttrs.h"

namespace StorageDevices {

namespace {

bool isBool(JsonValue const & value) {
   return value.IsBool();
}

bool isArray(JsonValue const & value) {
   return value.IsArray();
}

bool isByte(JsonValue const & value) {
   return value.IsUint64() && value.GetUint64() <= std::numeric_limits<std::uint8_t>::max();
}

bool isSigned(JsonValue const & value) {
   return value.IsInt64();
}

// False when the value is no byte.
bool readByte(std::uint8_t & byte, JsonValue const * value) {
   if (value)
      byte = static_cast<std::uint8_t>(value->GetUint64());
   return value != nullptr;
}

// Nothing for a malformed row.
std::optional<SmartAttr> readRow(JsonValue const & row) {
   SmartAttr attr;
   if (!readByte(attr.id, parseMember(row, "id", isByte)))
      return std::nullopt;
   auto const name = jsonString(parseMember(row, "name"));
   if (!name)
      return std::nullopt;
   attr.name = *name;
   if (JsonValue const * const thresh = parseMember(row, "thresh")) {
      if (!isByte(*thresh))
         return std::nullopt;
      readByte(attr.thresh, thresh);
   }
   JsonValue const * const raw = parseMember(row, {"raw", "value"}, isSigned);
   if (!readByte(attr.value, parseMember(row, "value", isByte)) ||
       !readByte(attr.worst, parseMember(row, "worst", isByte)) ||
       !readByte(attr.flags, parseMember(row, {"flags", "value"}, isByte)) || !raw)
      return std::nullopt;
   attr.raw = raw->GetInt64();
   if (auto const rawString = jsonString(parseMember(row, {"raw", "string"})))
      attr.rawString = *rawString;
   attr.reportedValue = attr.value;
   return attr;
}

bool isLifetimeName(std::string_view name) {
   return std::find(std::begin(lifetimeNames), std::end(lifetimeNames), name) != std::end(lifetimeNames);
}

void file(DeviceSmartData & record, SmartField const & field, SmartAttr const & attr,
          std::int64_t reportedValue) {
   SmartAttr filed = attr;
   filed.reportedValue = reportedValue;
   (record.*field.set)(OptionalSmartAttr::from(std::move(filed)));
}

// False when an earlier attribute occupies the field.
bool fileIfEmpty(DeviceSmartData & record, SmartField const & field, SmartAttr const & attr,
                 std::int64_t reportedValue) {
   if ((record.*field.cell)())
      return false;
   file(record, field, attr, reportedValue);
   return true;
}

}  // namespace

JsonValue const * parseMember(JsonValue const & value, std::initializer_list<std::string_view> path,
                              JsonPredicate predicate) {
   JsonValue const * at = &value;
   for (std::string_view const name : path) {
      at = jsonMember(at, name);
      if (!at)
         return nullptr;
   }
   return predicate && !predicate(*at) ? nullptr : at;
}

JsonValue const * parseMember(JsonValue const & value, std::string_view name, JsonPredicate predicate) {
   return parseMember(value, {name}, predicate);
}

bool parseHealthStatus(JsonValue const & document, DeviceSmartData & record) {
   JsonValue const * const passed = parseMember(document, {"smart_status", "passed"}, isBool);
   if (!passed)
      return false;
   record.healthStatusOkIs(passed->GetBool());
   record.healthStatusReadIs(true);
   return true;
}

JsonValue const * smartAttrsTable(JsonValue const & document) {
   return parseMember(document, {"ata_smart_attributes", "table"}, isArray);
}

void parseSmartAttrs(JsonValue const & table, DeviceSmartData & record, DriveSmartMapping const & mapping) {
   bool allPassing = true;
   for (JsonValue const & row : table.GetArray()) {
      auto const attr = readRow(row);
      if (!attr)
         continue;
      insertAttr(record, *attr, mapping);
      allPassing = allPassing && attr->isPassing();
   }
   record.allAttrsPassingIs(allPassing);
   record.attrsReadIs(true);
}

bool maybeInsertKnownAttr(DeviceSmartData & record, SmartAttr const & attr,
                          DriveSmartMapping const & mapping) {
   if (auto const mapped = mapping.find(attr.id); mapped != mapping.end()) {
      DriveSmartMappingEntry const & entry = mapped->second;
      if (entry.ignore || !entry.field.set)
         return false;
      file(record, entry.field, attr, entry.value ? entry.value(attr) : attr.reportedValue);
      return true;
   }
   if (isLifetimeName(attr.name.view()))
      return fileIfEmpty(record, lifetimeField, attr, attr.value);
   KnownSmartAttr const * const known = findKnownSmartAttr(attr.id, attr.name.view());
   if (!known)
      return false;
   switch (known->source) {
      case SmartSource::value:
         return fileIfEmpty(record, known->field, attr, attr.value);
      case SmartSource::raw:
         return fileIfEmpty(record, known->field, attr, attr.raw);
      case SmartSource::temperature:
         return isValidSATATemp(attr) &&
                fileIfEmpty(record, known->field, attr, useRawStringTemperature(attr));
   }
   return false;
}

void insertAttr(DeviceSmartData & record, SmartAttr const & attr, DriveSmartMapping const & mapping) {
   if (!maybeInsertKnownAttr(record, attr, mapping))
      record.unknownAttrIs(attr);
}

void attrsIs(DeviceSmartData & record, DeviceSmartData const & other) {
   for (SmartField const & field : smartFields)
      (record.*field.set)((other.*field.cell)());
   for (auto const & [id, attr] : record.unknownAttr)
      if (!other.unknownAttr.contains(id))
         record.unknownAttrDel(id);
   for (auto const & [id, attr] : other.unknownAttr)
      record.unknownAttrIs(attr);
   record.allAttrsPassingIs(other.allAttrsPassing());
   record.attrsReadIs(other.attrsRead());
}

}  // namespace StorageDevices
