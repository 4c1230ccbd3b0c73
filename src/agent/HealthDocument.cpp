#include "agent/HealthDocument.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace Agent {

namespace {

using StorageDevices::SmartAttr;

void writeNumber(JsonWriter & writer, char const * key, std::int64_t value) {
   writer.Key(key);
   writer.Int64(value);
}

void writeAttr(JsonWriter & writer, SmartAttr const & attr) {
   writer.StartObject();
   writeNumber(writer, "id", attr.id);
   writeMember(writer, "name", attr.name.view());
   writeNumber(writer, "thresh", attr.thresh);
   writeNumber(writer, "value", attr.value);
   writeNumber(writer, "worst", attr.worst);
   writeNumber(writer, "flags", attr.flags);
   writeNumber(writer, "raw", attr.raw);
   writeMember(writer, "rawString", attr.rawString.view());
   writeNumber(writer, "reportedValue", attr.reportedValue);
   writer.EndObject();
}

void writeVerdict(JsonWriter & writer, StorageDevices::DeviceSmartData const & record) {
   if (record.healthStatusRead()) {
      writer.Key(record.healthStatusOk.id());
      writer.Bool(record.healthStatusOk());
   }
   if (record.attrsRead()) {
      writer.Key(record.allAttrsPassing.id());
      writer.Bool(record.allAttrsPassing());
   }
}

void writeRecord(JsonWriter & writer, StorageDevices::DeviceSmartData const & record) {
   writer.StartObject();
   writeVerdict(writer, record);
   writer.Key("attrs");
   writer.StartObject();
   for (StorageDevices::SmartField const & field : StorageDevices::smartFields) {
      auto const & cell = record.*field.cell;
      if (!cell())
         continue;
      writer.Key(cell.id());
      writeAttr(writer, *cell());
   }
   writer.EndObject();
   std::map<std::uint8_t, SmartAttr> unknown;
   for (auto const & [id, attr] : record.unknownAttr)
      unknown.emplace(id, attr);
   writer.Key("unknownAttrs");
   writer.StartArray();
   for (auto const & [id, attr] : unknown)
      writeAttr(writer, attr);
   writer.EndArray();
   writer.EndObject();
}

void writeRecord(JsonWriter & writer, StorageDevices::DeviceNvmeData const & record) {
   writer.StartObject();
   for (StorageDevices::NvmeField const & field : StorageDevices::nvmeFields) {
      auto const & cell = record.*field.cell;
      if (cell().name.empty())
         continue;
      writer.Key(cell.id());
      writer.StartObject();
      writeMember(writer, "name", cell().name.view());
      writeNumber(writer, "value", cell().value);
      writer.EndObject();
   }
   writer.EndObject();
}

template <class Cell>
void writeRegister(JsonWriter & writer, Cell const & cell) {
   if (cell().present())
      writeNumber(writer, cell.id(), cell().raw());
}

void writeRecord(JsonWriter & writer, StorageDevices::DeviceEmmcData const & record) {
   writer.StartObject();
   writeRegister(writer, record.lifetimeEstTypA);
   writeRegister(writer, record.lifetimeEstTypB);
   writeRegister(writer, record.preEolInfo);
   writer.EndObject();
}

template <class Records>
void writeRecords(JsonWriter & writer, Records const & records) {
   writer.StartObject();
   for (auto const & [serial, record] : records) {
      writeKey(writer, serial.view());
      writeRecord(writer, *record);
   }
   writer.EndObject();
}

}  // namespace

void writeSmartData(JsonWriter & writer, StorageDevices::SmartData const & data) {
   writeRecords(writer, data.deviceData);
}

void writeNvmeData(JsonWriter & writer, StorageDevices::NvmeData const & data) {
   writeRecords(writer, data.deviceData);
}

void writeEmmcData(JsonWriter & writer, StorageDevices::EmmcData const & data) {
   writeRecords(writer, data.deviceData);
}

void writeIoStatData(JsonWriter & writer, StorageDevices::IOStatData const & data, std::size_t history) {
   writer.StartObject();
   for (auto const & [serial, stat] : data.ioStatData) {
      writeKey(writer, serial.view());
      writer.StartArray();
      for (std::size_t at = stat->size() - std::min(stat->size(), history); at < stat->size(); ++at) {
         auto const & measurement = (*stat)[at];
         writer.StartObject();
         writer.Key("time");
         writer.Double(measurement.time.value());
         writer.Key("bytesRead");
         writer.Uint64(measurement.bytesRead);
         writer.Key("bytesWritten");
         writer.Uint64(measurement.bytesWritten);
         writer.EndObject();
      }
      writer.EndArray();
   }
   writer.EndObject();
}

}  // namespace Agent
