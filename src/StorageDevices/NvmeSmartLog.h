// Reads the JSON of `nvme smart-log` into the record of one drive.
#pragma once

#include "StorageDevices/JsonDocument.h"
#include "runtime/Vorn/Trace.h"
#include "runtime/model/NvmeData.h"

namespace StorageDevices {

// The trace facility of the sources that read NVMe smart logs.
extern Vorn::TraceHandle nvmeTraceHandle;

// The whole number at a key of a smart log, an object. 0, and a trace, when the key is missing or has another
// value: a fraction, a text, a number beyond 64 bits.
NvmeAttr parseAttr(JsonValue const & document, char const * key);

// Sets all fields of a record, each from its key.
void parseAndInsertNvmeAttrs(JsonValue const & document, DeviceNvmeData & record);

}  // namespace StorageDevices
