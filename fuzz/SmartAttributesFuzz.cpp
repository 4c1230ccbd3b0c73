// Any report gives a consistent record: every row at most once, with the value that its field requires. A
// record assigned from another is equal to it.
#include <cstddef>
#include <cstdint>
#include <string>

#include "Check.h"
#include "StorageDevices/JsonDocument.h"
#include "StorageDevices/SmartAttributes.h"

namespace {

using namespace StorageDevices;

void checkFields(DeviceSmartData const & record) {
   bool allPassing = true;
   for (SmartField const & field : smartFields) {
      OptionalSmartAttr const & attr = (record.*field.cell)();
      if (!attr)
         continue;
      bool const isHours = field.cell == &DeviceSmartData::powerOnHours;
      bool const isTemperature = field.cell == &DeviceSmartData::temperatureCelsius;
      FUZZ_CHECK(isTemperature || attr->reportedValue == (isHours ? attr->raw : attr->value));
      FUZZ_CHECK(!isTemperature || (attr->reportedValue >= -40 && attr->reportedValue <= 140));
      allPassing = allPassing && attr->isPassing();
   }
   for (auto const & [id, attr] : record.unknownAttr) {
      FUZZ_CHECK(id == attr.id && attr.reportedValue == attr.value);
      allPassing = allPassing && attr.isPassing();
   }
   FUZZ_CHECK(allPassing || !record.allAttrsPassing());
}

std::size_t countRows(DeviceSmartData const & record) {
   std::size_t count = record.unknownAttr.size();
   for (SmartField const & field : smartFields)
      count += (record.*field.cell)() ? 1 : 0;
   return count;
}

void checkEqual(DeviceSmartData const & one, DeviceSmartData const & other) {
   for (SmartField const & field : smartFields)
      FUZZ_CHECK((one.*field.cell)() == (other.*field.cell)());
   FUZZ_CHECK(one.unknownAttr.size() == other.unknownAttr.size());
   for (auto const & [id, attr] : one.unknownAttr)
      FUZZ_CHECK(other.unknownAttr(id) == attr);
   FUZZ_CHECK(one.allAttrsPassing() == other.allAttrsPassing());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const * data, std::size_t size) {
   std::string const text(data, data + size);
   JsonDocument const document(text);
   if (!document.isValid())
      return 0;
   auto const record = Pelm::make<DeviceSmartData>("SN1");
   bool const hasVerdict = parseHealthStatus(document.root(), *record);
   FUZZ_CHECK(hasVerdict == record->healthStatusRead());
   JsonValue const * const table = smartAttrsTable(document.root());
   if (!table)
      return 0;
   parseSmartAttrs(*table, *record, {});
   checkFields(*record);
   FUZZ_CHECK(countRows(*record) <= size / 40);  // no row is shorter

   auto const ignored = Pelm::make<DeviceSmartData>("SN1");
   DriveSmartMapping mapping;
   for (unsigned id = 0; id <= 255; ++id)
      mapping[static_cast<std::uint8_t>(id)].ignore = true;
   parseSmartAttrs(*table, *ignored, mapping);
   FUZZ_CHECK(countRows(*ignored) == ignored->unknownAttr.size());
   FUZZ_CHECK(ignored->allAttrsPassing() == record->allAttrsPassing());

   attrsIs(*ignored, *record);
   checkEqual(*ignored, *record);
   record->clearAttrs();
   FUZZ_CHECK(countRows(*record) == 0);
   return 0;
}
