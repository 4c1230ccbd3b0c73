#include "StorageDevices/DiskInfoCollectorSm.h"

#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "tests/support/ChangeRecorder.h"
#include "tests/support/DiskFields.h"

namespace StorageDevices {

namespace {

using Support::DiskFields;

class PlainCollector final : public DiskInfoCollectorSm {
 public:
   explicit PlainCollector(Pelm::Ptr<ConnectedDisk const> device) : DiskInfoCollectorSm{std::move(device)} {}
   EntityMib::StorageType mibType() const override { return EntityMib::StorageType::eUsb; }

   using DiskInfoCollectorSm::finalize;
   using DiskInfoCollectorSm::finalizeUnchanged;
};

// Acts when a collector publishes its result.
class WhenPublished {
 public:
   WhenPublished(Pelm::Ptr<PlainCollector> const & collector, std::function<void()> action)
       : action_{std::move(action)} {
      reactor_.notifierIs(collector);
      reactor_.on<&WhenPublished::handleFinalDisk>(collector->finalDisk, *this);
      reactor_.hasNotificationActiveIs(true);
   }

 private:
   void handleFinalDisk() {
      reactor_.notifierIs(nullptr);
      action_();
   }

   std::function<void()> action_;
   Vorn::NotifieeConst reactor_;
};

class DiskInfoCollectorSmTest : public testing::Test {
 protected:
   Pelm::Ptr<ConnectedDisk const> finalDiskIs(DiskFields const & disk) {
      return finalDiskIs(*collector_, disk);
   }
   static Pelm::Ptr<ConnectedDisk const> finalDiskIs(PlainCollector & collector, DiskFields const & disk) {
      return collector.finalDiskIs(disk.name, disk.mibType, disk.blockDevice, disk.mountPoint, disk.model,
                                   disk.firmwareRevision, disk.removable, disk.busType, disk.devAddress,
                                   disk.sizeGb);
   }

   DiskFields disk_;
   Pelm::Ptr<PlainCollector> collector_ = Pelm::make<PlainCollector>(disk_.make());
   Support::ChangeRecorder<decltype(DiskInfoCollectorSm::finalDisk)> changes_{collector_->finalDisk};
};

TEST_F(DiskInfoCollectorSmTest, HasNoResultAtFirst) {
   EXPECT_EQ(collector_->finalDisk(), nullptr);
   EXPECT_EQ(Support::fieldsOf(*collector_->device()), disk_);
}

TEST_F(DiskInfoCollectorSmTest, PublishesARecordOfTheTenValues) {
   DiskFields const final{"S", 4, "/dev/b", "/mnt/m", "M", "F", true, 2, "a", 7};
   auto const record = finalDiskIs(final);
   EXPECT_EQ(Support::fieldsOf(*record), final);
   EXPECT_EQ(collector_->finalDisk(), record);
   ASSERT_EQ(changes_.count(), 1U);
   EXPECT_EQ(*changes_.changes()[0].old, nullptr);
   EXPECT_EQ(*changes_.changes()[0].now, record);
}

TEST_F(DiskInfoCollectorSmTest, PublishesValuesEqualToTheInputAsTheFirstResult) {
   finalDiskIs(disk_);
   EXPECT_EQ(changes_.count(), 1U);
   EXPECT_EQ(Support::fieldsOf(*collector_->finalDisk()), disk_);
}

TEST_F(DiskInfoCollectorSmTest, PublishesNothingForEqualValuesAgain) {
   auto const first = finalDiskIs(disk_);
   EXPECT_EQ(finalDiskIs(disk_), first);
   EXPECT_EQ(collector_->finalDisk(), first);
   EXPECT_EQ(changes_.count(), 1U);
}

TEST_F(DiskInfoCollectorSmTest, PublishesANewRecordForOneDifferingValue) {
   using Alter = void (*)(DiskFields &);
   Alter const alterations[] = {[](DiskFields & disk) { disk.name = "other"; },
                                [](DiskFields & disk) { disk.mibType = 3; },
                                [](DiskFields & disk) { disk.blockDevice = "/dev/sdb"; },
                                [](DiskFields & disk) { disk.mountPoint = "/mnt/flash"; },
                                [](DiskFields & disk) { disk.model = "other"; },
                                [](DiskFields & disk) { disk.firmwareRevision = "other"; },
                                [](DiskFields & disk) { disk.removable = true; },
                                [](DiskFields & disk) { disk.busType = 3; },
                                [](DiskFields & disk) { disk.devAddress = "3"; },
                                [](DiskFields & disk) { disk.sizeGb = 241; }};
   DiskFields disk;
   std::size_t published = 1;
   auto last = finalDiskIs(disk);
   for (auto const alter : alterations) {
      alter(disk);
      auto const record = finalDiskIs(disk);
      EXPECT_FALSE(record == last) << disk;
      EXPECT_EQ(Support::fieldsOf(*record), disk);
      EXPECT_EQ(changes_.count(), ++published) << disk;
      last = record;
   }
}

TEST_F(DiskInfoCollectorSmTest, FinalizesFourValuesAndTheTypeAndCopiesTheRest) {
   collector_->finalize("S", "M", "F", 7);
   DiskFields expected = disk_;
   expected.name = "S";
   expected.model = "M";
   expected.firmwareRevision = "F";
   expected.sizeGb = 7;
   expected.mibType = 1;
   EXPECT_EQ(Support::fieldsOf(*collector_->finalDisk()), expected);
}

TEST_F(DiskInfoCollectorSmTest, FinalizesUnchangedAllButTheType) {
   collector_->finalizeUnchanged();
   DiskFields expected = disk_;
   expected.mibType = 1;
   EXPECT_EQ(Support::fieldsOf(*collector_->finalDisk()), expected);
   EXPECT_EQ(changes_.count(), 1U);
}

TEST_F(DiskInfoCollectorSmTest, AnswersTheResultThatItDeletes) {
   EXPECT_EQ(collector_->finalDiskDel(), nullptr);
   auto const record = finalDiskIs(disk_);
   EXPECT_EQ(collector_->finalDiskDel(), record);
   EXPECT_EQ(collector_->finalDisk(), nullptr);
   finalDiskIs(disk_);
   EXPECT_EQ(changes_.count(), 3U);
}

TEST_F(DiskInfoCollectorSmTest, ReturnsTheRecordThatASubscriberDeletes) {
   WhenPublished const deletes{collector_, [&] { collector_->finalDiskDel(); }};
   auto const record = finalDiskIs(disk_);
   ASSERT_TRUE(record);
   EXPECT_EQ(Support::fieldsOf(*record), disk_);
   EXPECT_EQ(collector_->finalDisk(), nullptr);
}

TEST_F(DiskInfoCollectorSmTest, ReturnsTheRecordOfACollectorThatASubscriberDrops) {
   auto collector = Pelm::make<PlainCollector>(disk_.make());
   WhenPublished const drops{collector, [&] { collector = nullptr; }};
   auto const record = finalDiskIs(*collector, disk_);
   EXPECT_FALSE(collector);
   ASSERT_TRUE(record);
   EXPECT_EQ(Support::fieldsOf(*record), disk_);
}

}  // namespace

}  // namespace StorageDevices
