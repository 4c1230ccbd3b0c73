// The notifications of a record when a drive's table is read again.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "SmartRecords.h"
#include "StorageDevices/SmartAttributes.h"
#include "tests/support/ChangeRecorder.h"

namespace StorageDevices {
namespace {

using SmartRecords::namedFields;
using SmartRecords::recordOf;

SmartAttr attribute(unsigned id, std::int64_t raw) {
   return SmartRecords::row(id, "Row", raw);
}

OptionalSmartAttr present(unsigned id, std::int64_t raw) {
   return OptionalSmartAttr::from(attribute(id, raw));
}

// Follows every attribute of a record: each notification, and the record at that moment.
class Subscriber {
 public:
   explicit Subscriber(DeviceSmartData const & data) : data_{data}, unknown{data.unknownAttr} {
      for (auto const & [name, field] : namedFields)
         fields_.emplace_back(name, std::make_unique<FieldRecorder>(data.*field.cell));
      reactor_.notifierIs(Pelm::Ptr<Pelm::Node const>{&data});
      for (auto const & [name, field] : namedFields)
         reactor_.on<&Subscriber::handleAny>(data.*field.cell, *this);
      reactor_.on<&Subscriber::handleAny>(data.unknownAttr, *this);
      reactor_.on<&Subscriber::handleAny>(data.allAttrsPassing, *this);
      reactor_.on<&Subscriber::handleAny>(data.attrsRead, *this);
      reactor_.hasNotificationActiveIs(true);
   }

   // The records as they were at each change, in order.
   std::vector<SmartRecords::Record> const & moments() const { return moments_; }

   using FieldRecorder = Support::ChangeRecorder<DeviceSmartData::Field>;
   FieldRecorder const & field(std::string_view name) const {
      return *std::find_if(fields_.begin(), fields_.end(), [&](auto const & each) {
                 return each.first == name;
              })->second;
   }

 private:
   void handleAny() { moments_.push_back(recordOf(data_)); }

   DeviceSmartData const & data_;
   std::vector<std::pair<std::string_view, std::unique_ptr<FieldRecorder>>> fields_;
   std::vector<SmartRecords::Record> moments_;

 public:
   Support::ChangeRecorder<decltype(DeviceSmartData::unknownAttr)> unknown;

 private:
   Vorn::NotifieeConst reactor_;
};

class SmartAttrsIsTest : public testing::Test {
 protected:
   // A full table, three of its rows unknown.
   static Pelm::Ptr<DeviceSmartData> fullTable() {
      auto data = Pelm::make<DeviceSmartData>("SN1");
      unsigned id = 1;
      for (auto const & [name, field] : namedFields)
         ((*data).*field.set)(present(id++, 7));
      for (unsigned const unknown : {200U, 201U, 202U})
         data->unknownAttrIs(attribute(unknown, 7));
      data->allAttrsPassingIs(true);
      data->attrsReadIs(true);
      return data;
   }

   SmartAttrsIsTest() : record{fullTable()}, next{fullTable()}, subscriber{*record} {}

   Pelm::Ptr<DeviceSmartData> record;
   Pelm::Ptr<DeviceSmartData> next;
   Subscriber subscriber;
};

TEST_F(SmartAttrsIsTest, NotifiesNobodyOfAnEqualTable) {
   attrsIs(*record, *next);
   EXPECT_TRUE(subscriber.moments().empty());
}

TEST_F(SmartAttrsIsTest, NotifiesOnlyOfADroppedField) {
   next->powerOnHoursIs({});
   attrsIs(*record, *next);
   EXPECT_EQ(subscriber.moments().size(), 1U);
   auto const & changes = subscriber.field("powerOnHours").changes();
   ASSERT_EQ(changes.size(), 1U);
   EXPECT_EQ(changes[0].old.value(), present(3, 7));
   EXPECT_FALSE(changes[0].now.value());
   EXPECT_FALSE(record->powerOnHours());
}

TEST_F(SmartAttrsIsTest, NotifiesOnlyOfANewField) {
   record->powerOnHoursIs({});
   Subscriber const later(*record);
   attrsIs(*record, *next);
   EXPECT_EQ(later.moments().size(), 1U);
   auto const & changes = later.field("powerOnHours").changes();
   ASSERT_EQ(changes.size(), 1U);
   EXPECT_FALSE(changes[0].old.value());
   EXPECT_EQ(changes[0].now.value(), present(3, 7));
}

TEST_F(SmartAttrsIsTest, NotifiesOfAChangedFieldWithItsOldAndNewValue) {
   next->temperatureCelsiusIs(present(13, 8));
   attrsIs(*record, *next);
   EXPECT_EQ(subscriber.moments().size(), 1U);
   auto const & changes = subscriber.field("temperatureCelsius").changes();
   ASSERT_EQ(changes.size(), 1U);
   EXPECT_EQ(changes[0].old.value(), present(13, 7));
   EXPECT_EQ(changes[0].now.value(), present(13, 8));
}

TEST_F(SmartAttrsIsTest, NotifiesOnceOfEachUnknownRowThatComesGoesOrChanges) {
   next->unknownAttrDel(200);
   next->unknownAttrIs(attribute(201, 8));
   next->unknownAttrIs(attribute(203, 9));
   attrsIs(*record, *next);
   EXPECT_EQ(subscriber.moments().size(), 3U);
   auto const & changes = subscriber.unknown.changes();
   ASSERT_EQ(changes.size(), 3U);
   auto const of = [&](std::optional<SmartAttr> const & old, std::optional<SmartAttr> const & now) {
      return std::count_if(changes.begin(), changes.end(), [&](auto const & change) {
         return change.old == Vorn::Optional<SmartAttr>(old) && change.now == Vorn::Optional<SmartAttr>(now);
      });
   };
   EXPECT_EQ(of(attribute(200, 7), std::nullopt), 1);
   EXPECT_EQ(of(attribute(201, 7), attribute(201, 8)), 1);
   EXPECT_EQ(of(std::nullopt, attribute(203, 9)), 1);
   EXPECT_EQ(recordOf(*record), recordOf(*next));
}

TEST_F(SmartAttrsIsTest, MovesARowThatGetsANameToItsField) {
   record->powerOnHoursIs({});
   record->unknownAttrIs(attribute(3, 7));
   attrsIs(*record, *next);
   EXPECT_EQ(record->powerOnHours(), present(3, 7));
   EXPECT_FALSE(record->unknownAttr.contains(3));
}

TEST_F(SmartAttrsIsTest, NeverShowsAnEmptyTableInBetween) {
   unsigned id = 1;
   for (auto const & [name, field] : namedFields)
      ((*next).*field.set)(present(id++, 8));
   for (unsigned const unknown : {200U, 201U, 202U})
      next->unknownAttrIs(attribute(unknown, 8));
   attrsIs(*record, *next);
   EXPECT_EQ(subscriber.moments().size(), std::size(namedFields) + 3);
   for (auto const & moment : subscriber.moments()) {
      EXPECT_EQ(moment.fields.size(), std::size(namedFields));
      EXPECT_EQ(moment.unknown.size(), 3U);
      EXPECT_TRUE(moment.allPassing);
   }
}

TEST_F(SmartAttrsIsTest, StoresWhetherAllPassAndKeepsTheVerdict) {
   record->healthStatusOkIs(true);
   record->healthStatusReadIs(true);
   next->allAttrsPassingIs(false);
   attrsIs(*record, *next);
   EXPECT_FALSE(record->allAttrsPassing());
   EXPECT_EQ(subscriber.moments().size(), 1U);
   EXPECT_TRUE(record->healthStatusOk());
   EXPECT_TRUE(record->healthStatusRead());
}

TEST_F(SmartAttrsIsTest, EmptiesTheRecordWithAnEmptyTable) {
   auto const none = Pelm::make<DeviceSmartData>("SN1");
   none->attrsReadIs(true);
   none->allAttrsPassingIs(true);
   attrsIs(*record, *none);
   EXPECT_EQ(recordOf(*record), recordOf(*none));
   EXPECT_EQ(subscriber.moments().size(), std::size(namedFields) + 3);
}

TEST_F(SmartAttrsIsTest, MarksTheRecordReadAtTheFirstTable) {
   auto const fresh = Pelm::make<DeviceSmartData>("SN1");
   EXPECT_FALSE(fresh->attrsRead());
   attrsIs(*fresh, *next);
   EXPECT_EQ(recordOf(*fresh), recordOf(*next));
}

}  // namespace
}  // namespace StorageDevices
