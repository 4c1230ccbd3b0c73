#include "runtime/model/SmartData.h"

#include <gtest/gtest.h>

#include <iterator>

#include "SmartRecords.h"

namespace StorageDevices {
namespace {

using SmartRecords::namedFields;

TEST(SmartDataTest, WritesTheFieldOfItsNameByEverySetter) {
   EXPECT_EQ(std::size(namedFields), 22U);
   for (auto const & [name, field] : namedFields) {
      auto const data = Pelm::make<DeviceSmartData>("SN1");
      ((*data).*field.set)(OptionalSmartAttr::from(SmartRecords::row(1)));
      EXPECT_STREQ(((*data).*field.cell).id(), name);
      auto const record = SmartRecords::recordOf(*data);
      EXPECT_EQ(record.fields.size(), 1U);
      EXPECT_TRUE(record.fields.contains(name)) << name;
   }
}

TEST(SmartDataTest, ListsEachFieldOnce) {
   ASSERT_EQ(std::size(smartFields), std::size(namedFields));
   for (auto const & [name, field] : namedFields) {
      int count = 0;
      for (SmartField const & listed : smartFields)
         count += listed == field ? 1 : 0;
      EXPECT_EQ(count, 1) << name;
   }
}

TEST(SmartDataTest, ClearsTheAttributesAndNothingElse) {
   auto const data = Pelm::make<DeviceSmartData>("SN1");
   for (auto const & [name, field] : namedFields)
      ((*data).*field.set)(OptionalSmartAttr::from(SmartRecords::row(1)));
   data->unknownAttrIs(SmartRecords::row(2));
   data->unknownAttrIs(SmartRecords::row(3));
   data->healthStatusOkIs(true);
   data->healthStatusReadIs(true);
   data->clearAttrs();
   EXPECT_EQ(SmartRecords::recordOf(*data), (SmartRecords::Record{.verdict = true}));
}

TEST(SmartDataTest, KeepsRecordsUntilTheyAreDeleted) {
   auto const all = Pelm::make<SmartData>();
   all->deviceDataIs("SN1");
   auto const first = all->deviceData("SN1");
   ASSERT_TRUE(first);
   EXPECT_EQ(first->name(), "SN1");
   all->deviceDataIs("SN1");
   EXPECT_EQ(all->deviceData("SN1"), first);
   all->deviceDataDel("SN1");
   EXPECT_FALSE(all->deviceData("SN1"));
   all->deviceDataDel("SN1");
   EXPECT_TRUE(all->deviceData.empty());
}

}  // namespace
}  // namespace StorageDevices
