#include "runtime/model/DriveDatabase.h"

#include <gtest/gtest.h>

#include <memory>

namespace StorageDevices {
namespace {

constexpr SmartField hours{&DeviceSmartData::powerOnHours, &DeviceSmartData::powerOnHoursIs};

class OneModel : public DriveDatabase {
 public:
   explicit OneModel(bool & isThere) : isThere_{isThere} { isThere_ = true; }
   ~OneModel() override { isThere_ = false; }

   DriveSmartMapping findDeviceMapping(Pelm::String const & model) const override {
      return model == "Sample SSD 256" ? DriveSmartMapping{{240, {.field = hours}}} : DriveSmartMapping{};
   }

 private:
   bool & isThere_;
};

class DriveDatabaseTest : public testing::Test {
 protected:
   ~DriveDatabaseTest() override { driveDatabaseIs(nullptr); }

   bool isFirstThere = false;
   bool isSecondThere = false;
};

TEST_F(DriveDatabaseTest, MapsNoModelWithoutADatabase) {
   EXPECT_TRUE(findDeviceMapping("Sample SSD 256").empty());
   EXPECT_TRUE(findDeviceMapping("").empty());
}

TEST_F(DriveDatabaseTest, AnswersTheMappingsOfTheHostsDatabase) {
   driveDatabaseIs(std::make_unique<OneModel>(isFirstThere));
   auto const mapping = findDeviceMapping("Sample SSD 256");
   ASSERT_EQ(mapping.size(), 1U);
   EXPECT_EQ(mapping.at(240).field, hours);
   EXPECT_EQ(mapping.at(240).value, nullptr);
   EXPECT_FALSE(mapping.at(240).ignore);
   EXPECT_TRUE(findDeviceMapping("Sample SSD 512").empty());
}

TEST_F(DriveDatabaseTest, OwnsTheDatabaseUntilTheNext) {
   driveDatabaseIs(std::make_unique<OneModel>(isFirstThere));
   driveDatabaseIs(std::make_unique<OneModel>(isSecondThere));
   EXPECT_FALSE(isFirstThere);
   EXPECT_TRUE(isSecondThere);
   driveDatabaseIs(nullptr);
   EXPECT_FALSE(isSecondThere);
   EXPECT_TRUE(findDeviceMapping("Sample SSD 256").empty());
}

}  // namespace
}  // namespace StorageDevices
