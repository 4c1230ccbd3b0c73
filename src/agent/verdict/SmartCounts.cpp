#include "agent/verdict/SmartCounts.h"

#include <algorithm>
#include <vector>

#include "runtime/model/HealthFigures.h"

namespace Agent {

namespace {

using StorageDevices::DeviceSmartData;
using StorageDevices::SmartAttr;

template <class Visit>
void forEachNamedAttr(DeviceSmartData const & record, Visit visit) {
   for (StorageDevices::SmartField const & field : StorageDevices::smartFields)
      if (auto const & attr = (record.*field.cell)())
         visit(*attr);
}

template <class Visit>
void forEachAttr(DeviceSmartData const & record, Visit visit) {
   forEachNamedAttr(record, visit);
   for (auto const & [id, attr] : record.unknownAttr)
      visit(attr);
}

}  // namespace

std::uint64_t smartCount(DeviceSmartData const & record, SmartCount const & count) {
   std::uint64_t found = 0;
   auto const visit = [&](SmartAttr const & attr) {
      bool const named =
          std::find(count.names.begin(), count.names.end(), attr.name.view()) != count.names.end();
      if (attr.id == count.id && named && !attr.name.empty())
         found = std::max(found, StorageDevices::plainCount(attr, count.largest).value_or(0));
   };
   forEachNamedAttr(record, visit);
   if (auto const attr = record.unknownAttr(count.id))
      visit(*attr);
   return found;
}

std::string attrsBelowThreshold(DeviceSmartData const & record) {
   constexpr std::size_t most = 3;
   std::vector<std::string_view> names;
   forEachAttr(record, [&names](SmartAttr const & attr) {
      if (!attr.isPassing())
         names.push_back(attr.name.view());
   });
   std::sort(names.begin(), names.end());
   std::string text;
   for (std::size_t i = 0; i < std::min(names.size(), most); ++i)
      text.append(i == 0 ? "" : ", ").append(names[i].substr(0, 64));
   return text.append(names.size() > most ? ", …" : "");
}

}  // namespace Agent
