// From the JSON report of smartctl to the record of one drive. Pure functions: the report is outside
// data; a malformed row is skipped whole, and nothing is reported from here.
#pragma once

#include <initializer_list>
#include <optional>
#include <string_view>

#include "StorageDevices/JsonDocument.h"
#include "runtime/model/DriveDatabase.h"
#include "runtime/model/SmartData.h"

namespace StorageDevices {

using JsonPredicate = bool (*)(JsonValue const &);

// The value at the end of a path of member names. Null when a step is no object or has no such member,
// or when the predicate, where one is given, rejects the value.
JsonValue const * parseMember(JsonValue const & value, std::initializer_list<std::string_view> path,
                              JsonPredicate predicate = nullptr);
JsonValue const * parseMember(JsonValue const & value, std::string_view name,
                              JsonPredicate predicate = nullptr);

// Sets the verdict from "smart_status", "passed". False, and nothing set, when the report has none.
bool parseHealthStatus(JsonValue const & document, DeviceSmartData & record);

// The array "ata_smart_attributes", "table"; null when the report has none.
JsonValue const * smartAttrsTable(JsonValue const & document);

// Files every row of a table in a record that has been cleared.
void parseSmartAttrs(JsonValue const & table, DeviceSmartData & record, DriveSmartMapping const & mapping);

// Files the attribute under its named field. False when it has none, or when an earlier attribute of the
// same meaning is there already.
bool maybeInsertKnownAttr(DeviceSmartData & record, SmartAttr const & attr,
                          DriveSmartMapping const & mapping);

// Files the attribute under its named field, else among the unknown ones.
void insertAttr(DeviceSmartData & record, SmartAttr const & attr, DriveSmartMapping const & mapping);

// Makes a record's attributes and `allAttrsPassing` those of another. Subscribers are told once of each
// that differs.
void attrsIs(DeviceSmartData & record, DeviceSmartData const & other);

}  // namespace StorageDevices
