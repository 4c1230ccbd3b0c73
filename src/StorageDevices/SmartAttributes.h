// Reads the JSON report of smartctl into the record of one drive. Pure functions: the report is untrusted, a
// malformed row is skipped whole, and nothing is traced.
#pragma once

#include <initializer_list>
#include <optional>
#include <string_view>

#include "StorageDevices/JsonDocument.h"
#include "runtime/model/DriveDatabase.h"
#include "runtime/model/SmartData.h"

namespace StorageDevices {

using JsonPredicate = bool (*)(JsonValue const &);

// The value at the end of a path of member names. Null when a step is no object or lacks the member, or when
// the optional predicate rejects the value.
JsonValue const * parseMember(JsonValue const & value, std::initializer_list<std::string_view> path,
                              JsonPredicate predicate = nullptr);
JsonValue const * parseMember(JsonValue const & value, std::string_view name,
                              JsonPredicate predicate = nullptr);

// Sets `healthStatusOk` from "smart_status", "passed". False, and nothing set, when the report lacks it.
bool parseHealthStatus(JsonValue const & document, DeviceSmartData & record);

// The array "ata_smart_attributes", "table"; null when the report has none.
JsonValue const * smartAttrsTable(JsonValue const & document);

// Writes every row of a table into a cleared record.
void parseSmartAttrs(JsonValue const & table, DeviceSmartData & record, DriveSmartMapping const & mapping);

// Writes the attribute to its named field. False when it has none, or when an earlier attribute occupies the
// field.
bool maybeInsertKnownAttr(DeviceSmartData & record, SmartAttr const & attr,
                          DriveSmartMapping const & mapping);

// Writes the attribute to its named field, else to the unknown attributes.
void insertAttr(DeviceSmartData & record, SmartAttr const & attr, DriveSmartMapping const & mapping);

// Assigns the attributes and `allAttrsPassing` of another record. Subscribers are notified once of each that
// differs.
void attrsIs(DeviceSmartData & record, DeviceSmartData const & other);

}  // namespace StorageDevices
