// Rows of an attribute table as text, and the record that a table of them fills.
#pragma once

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>
#include <utility>
#include <vector>

#include "SmartRecords.h"
#include "StorageDevices/SmartAttributes.h"

namespace StorageDevices::SmartRows {

// A row as the tool prints it; each member as JSON, an empty one left out.
struct Row {
   std::string id = "5";
   std::string name = "\"Reallocated_Sector_Ct\"";
   std::string value = "100";
   std::string worst = "99";
   std::string thresh = "10";
   std::string flags = R"({"value":51,"string":"PO--CK "})";
   std::string raw = R"({"value":3,"string":"3"})";

   std::string text() const {
      std::string members;
      for (auto const & [key, json] :
           {std::pair("id", id), std::pair("name", name), std::pair("value", value),
            std::pair("worst", worst), std::pair("thresh", thresh), std::pair("flags", flags),
            std::pair("raw", raw)})
         if (!json.empty())
            members += (members.empty() ? "\"" : ",\"") + std::string(key) + "\":" + json;
      return "{" + members + "}";
   }
};

inline Row row(int id, std::string const & name, int value = 100, long long raw = 3,
               std::string const & rawString = "") {
   std::string const string = rawString.empty() ? std::to_string(raw) : rawString;
   return {.id = std::to_string(id),
           .name = "\"" + name + "\"",
           .value = std::to_string(value),
           .raw = "{\"value\":" + std::to_string(raw) + ",\"string\":\"" + string + "\"}"};
}

inline std::string tableOf(std::vector<Row> const & rows) {
   std::string table;
   for (auto const & each : rows)
      table += (table.empty() ? "" : ",") + each.text();
   return "[" + table + "]";
}

inline Pelm::Ptr<DeviceSmartData> read(std::vector<Row> const & rows,
                                       DriveSmartMapping const & mapping = {}) {
   JsonDocument const table(tableOf(rows));
   EXPECT_EQ(table.error(), "") << tableOf(rows);
   auto data = Pelm::make<DeviceSmartData>("SN1");
   parseSmartAttrs(table.root(), *data, mapping);
   return data;
}

inline SmartRecords::Record readRecord(std::vector<Row> const & rows,
                                       DriveSmartMapping const & mapping = {}) {
   return SmartRecords::recordOf(*read(rows, mapping));
}

}  // namespace StorageDevices::SmartRows
