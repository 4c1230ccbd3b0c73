// A disk of which every record is read and good: one test per row of the table makes one of them bad.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>

#include "agent/verdict/VerdictRules.h"
#include "tests/support/UnitOfRecords.h"

namespace Agent {

class VerdictRulesTest : public Support::UnitOfRecords {
 protected:
   static StorageDevices::OptionalSmartAttr countAttr(std::uint8_t id, char const * name, std::int64_t raw,
                                                      char const * rendered = "") {
      StorageDevices::SmartAttr attr;
      attr.id = id;
      attr.name = name;
      attr.value = 100;
      attr.raw = raw;
      attr.rawString = rendered;
      return StorageDevices::OptionalSmartAttr::from(attr);
   }
   static StorageDevices::OptionalSmartAttr lifeAttr(std::uint8_t percent) {
      auto attr = *countAttr(202, "Percent_Lifetime_Remain", 0);
      attr.value = percent;
      attr.reportedValue = percent;
      return StorageDevices::OptionalSmartAttr::from(attr);
   }

   void diskIs(unsigned char bus = BusType::sata) {
      UnitOfRecords::diskIs(bus);
      allIsRead();
      ASSERT_EQ(reasons(), "");
      ASSERT_EQ(word(), "ok");
   }
   void criticalWarningIs(std::int64_t bits) const { nvme().criticalWarningIs({"critical_warning", bits}); }
};

}  // namespace Agent
