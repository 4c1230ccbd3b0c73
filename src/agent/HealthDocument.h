// The health records as JSON objects by serial number. A value that was never read is left out.
#pragma once

#include <cstddef>

#include "agent/JsonText.h"
#include "runtime/model/EmmcData.h"
#include "runtime/model/IOStatData.h"
#include "runtime/model/NvmeData.h"
#include "runtime/model/SmartData.h"

namespace Agent {

void writeSmartData(JsonWriter & writer, StorageDevices::SmartData const & data);
void writeNvmeData(JsonWriter & writer, StorageDevices::NvmeData const & data);
void writeEmmcData(JsonWriter & writer, StorageDevices::EmmcData const & data);
// Of each disk the newest `history` measurements, oldest first.
void writeIoStatData(JsonWriter & writer, StorageDevices::IOStatData const & data, std::size_t history);

}  // namespace Agent
