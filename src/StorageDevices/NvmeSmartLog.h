// From the JSON of `nvme smart-log` to the record of one drive.
#pragma once

#include "StorageDevices/JsonDocument.h"
#include "runtime/Vorn/Trace.h"
#include "runtime/model/NvmeData.h"

namespace StorageDevices {

// The facility of all that reads NVMe smart logs.
extern Vorn::TraceHandle nvmeTraceHandle;

// The whole number under a key of a smart log, an object. 0, and traced, when there is no such key or
// something else under it: a fraction, a text, a number beyond 64 bits.
NvmeAttr parseAttr(JsonValue const & document, char const * key);

// Sets all fields of a record, each from its key.
void parseAndInsertNvmeAttrs(JsonValue const & document, DeviceNvmeData & record);

}  // namespace StorageDevices
