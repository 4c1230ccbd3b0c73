// The health records as JSON objects by serial number. A value that was never read is left out.
#pragma once

#include <cstddef>

#include "agent/documents/PiecedJson.h"
#include "runtime/model/EmmcData.h"
#include "runtime/model/IOStatData.h"
#include "runtime/model/NvmeData.h"
#include "runtime/model/SmartData.h"

namespace Agent {

JsonValue smartDataJson(StorageDevices::SmartData const & data);
JsonValue nvmeDataJson(StorageDevices::NvmeData const & data);
JsonValue emmcDataJson(StorageDevices::EmmcData const & data);

// Of each disk the newest `history` measurements, oldest first. A part has some dozens of them. Measurements
// that are made or dropped while the document is read do not disturb it. It continues after the latest one
// that it wrote, and ends with the one that was the newest when the disk's turn came.
JsonValue ioStatDataJson(StorageDevices::IOStatData const & data, std::size_t history);

}  // namespace Agent
