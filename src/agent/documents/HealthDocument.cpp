#include "agent/documents/HealthDocument.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>

namespace Agent {

namespace {

using StorageDevices::IOStat;
using StorageDevices::SmartAttr;

// A record is written at once, whatever a tool put into it: some hundred attributes at most, none longer than
// this.
constexpr std::size_t longestAttrText = 256;

void writeAttr(Base::JsonWriter & writer, SmartAttr const & attr) {
   writer.StartObject();
   Base::writeMember(writer, "id", attr.id);
   Base::writeMember(writer, "name", attr.name.view(), longestAttrText);
   Base::writeMember(writer, "thresh", attr.thresh);
   Base::writeMember(writer, "value", attr.value);
   Base::writeMember(writer, "worst", attr.worst);
   Base::writeMember(writer, "flags", attr.flags);
   Base::writeMember(writer, "raw", attr.raw);
   Base::writeMember(writer, "rawString", attr.rawString.view(), longestAttrText);
   Base::writeMember(writer, "reportedValue", attr.reportedValue);
   writer.EndObject();
}

void writeVerdict(Base::JsonWriter & writer, StorageDevices::DeviceSmartData const & record) {
   if (record.healthStatusRead())
      Base::writeMember(writer, record.healthStatusOk.id(), record.healthStatusOk());
   if (record.attrsRead())
      Base::writeMember(writer, record.allAttrsPassing.id(), record.allAttrsPassing());
}

void writeRecord(Base::JsonWriter & writer, StorageDevices::DeviceSmartData const & record) {
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

void writeRecord(Base::JsonWriter & writer, StorageDevices::DeviceNvmeData const & record) {
   writer.StartObject();
   for (StorageDevices::NvmeField const & field : StorageDevices::nvmeFields) {
      auto const & cell = record.*field.cell;
      if (cell().name.empty())
         continue;
      writer.Key(cell.id());
      writer.StartObject();
      Base::writeMember(writer, "name", cell().name.view(), longestAttrText);
      Base::writeMember(writer, "value", cell().value);
      writer.EndObject();
   }
   writer.EndObject();
}

template <class Cell>
void writeRegister(Base::JsonWriter & writer, Cell const & cell) {
   if (cell().present())
      Base::writeMember(writer, cell.id(), cell().raw());
}

void writeRecord(Base::JsonWriter & writer, StorageDevices::DeviceEmmcData const & record) {
   writer.StartObject();
   writeRegister(writer, record.lifetimeEstTypA);
   writeRegister(writer, record.lifetimeEstTypB);
   writeRegister(writer, record.preEolInfo);
   writer.EndObject();
}

template <class Records>
JsonValue recordsJson(Records const & records) {
   return jsonObject(records,
                     [](Base::JsonWriter & writer, auto const & record) { writeRecord(writer, record); });
}

void writeMeasurement(Base::JsonWriter & writer, IOStat::Measurement const & measurement) {
   writer.StartObject();
   Base::writeMember(writer, "time", measurement.time.value());
   Base::writeMember(writer, "bytesRead", measurement.bytesRead);
   Base::writeMember(writer, "bytesWritten", measurement.bytesWritten);
   writer.EndObject();
}

// The index of the first measurement later than that.
std::size_t firstAfter(IOStat const & history, Vorn::Seconds time) {
   std::size_t low = 0;
   for (std::size_t high = history.size(); low < high;) {
      std::size_t const middle = low + (high - low) / 2;
      (history[middle].time <= time ? low : high) = history[middle].time <= time ? middle + 1 : middle;
   }
   return low;
}

// The array of one disk's measurements. Positions are times: indices shift when old measurements are dropped.
class HistoryJson {
 public:
   explicit HistoryJson(std::size_t newest) : newest_{newest} {}

   // Writes the next part; false once the array is complete. A null history has come to its end.
   bool write(Base::JsonWriter & writer, IOStat const * history) {
      if (!begun_)
         begin(writer, history);
      std::size_t const last = history ? firstAfter(*history, until_) : 0;
      std::size_t at = history ? firstAfter(*history, written_) : 0;
      for (std::size_t const end = std::min(last, at + partSize); at < end; ++at) {
         written_ = (*history)[at].time;
         writeMeasurement(writer, (*history)[at]);
      }
      if (at < last)
         return true;
      writer.EndArray();
      return false;
   }

 private:
   static constexpr std::size_t partSize = 32;

   void begin(Base::JsonWriter & writer, IOStat const * history) {
      begun_ = true;
      writer.StartArray();
      if (history && newest_ > 0 && !history->empty())
         until_ = history->topMeasurement()->time;
      if (history && newest_ < history->size())
         written_ = (*history)[history->size() - newest_ - 1].time;
   }

   std::size_t newest_;
   bool begun_ = false;
   Vorn::Seconds written_ =
       -Vorn::Seconds::infinity().value();                     // the time of the latest one that was written
   Vorn::Seconds until_ = -Vorn::Seconds::infinity().value();  // the time of the last one to write
};

}  // namespace

JsonValue smartDataJson(StorageDevices::SmartData const & data) {
   return recordsJson(data.deviceData);
}

JsonValue nvmeDataJson(StorageDevices::NvmeData const & data) {
   return recordsJson(data.deviceData);
}

JsonValue emmcDataJson(StorageDevices::EmmcData const & data) {
   return recordsJson(data.deviceData);
}

JsonValue ioStatDataJson(StorageDevices::IOStatData const & data, std::size_t history) {
   auto const writePart = [history, array = std::optional<HistoryJson>{}](
                              Base::JsonWriter & writer, Pelm::String const & serial,
                              Pelm::Ptr<IOStat> const & found) mutable {
      if (found && !array) {
         Base::writeText(writer, serial.view());
         array.emplace(history);
      }
      // A disk that goes while its array is written ends it.
      if (array && array->write(writer, found.get()))
         return true;
      array.reset();
      return false;
   };
   return JsonObject{data.ioStatData, writePart};
}

}  // namespace Agent
