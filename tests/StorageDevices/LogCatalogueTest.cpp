#include "StorageDevices/LogCatalogue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "StorageDevices/Module.h"

namespace StorageDevices {

namespace {

// One message to the letter. `action` is its text, or "standard 2" and "standard 3".
struct Expected {
   char const * name;
   int severity;
   char const * format;
   char const * explanation;
   char const * action;
   std::size_t arguments;
};

constexpr Expected expected[] = {
    {"STORAGEDEVICE_LIFETIME_WARNING", 4,
     "Lifetime of %s (SN:%s Model:%s Firmware:%s) has decreased faster than expected "
     "(%sGB written in the last %s days).",
     "Large amounts of data have been persistently written to the storage device and/or its lifetime "
     "remaining is less than 30%.",
     "standard 2", 6},
    {"STORAGEDEVICE_LIFETIME_INFO", 6,
     "Lifetime of %s (SN:%s Model:%s Firmware:%s) has decreased faster than expected "
     "(%sGB written in the last %s days).",
     "A large amount of data has been written to the storage device recently, which reduces its lifetime.",
     "Consider reducing the amount of data being written to the storage device.", 6},
    {"STORAGEDEVICE_OFFLINE", 3, "A removal event occurred unexpectedly for internal storage device %s",
     "The kernel notified userspace that an internal storage device was removed from the system. "
     "This could indicate a problem with the bus or the device itself.",
     "standard 3", 1},
    {"STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED", 3,
     "Unexpected partition %s mounted as %s. Expected storage device partition %s to be mounted instead.",
     "Expected the specified storage device partition to be mounted at the mount point but a different "
     "partition is mountedinstead. This is unexpected.",
     "standard 3", 3},
    {"STORAGEDEVICE_PARTITION_NOT_MOUNTED", 3, "Storage device partition %s not mounted as %s",
     "The specified storage device partition is not currently mounted. This can happen if the partition is "
     "not properly formatted or if the storage device was not detected by the driver.",
     "standard 3", 2},
    {"STORAGEDEVICE_DETECTION_ERROR", 3, "Failed to detect storage device %s on bootup.",
     "Failed to detect a storage device during system bootup. This can happen if the device is not "
     "recognized by the driver or if the system encountered an error when booting up.",
     "standard 3", 1},
    {"STORAGEDEVICE_MONITOR_WARNING", 4, "disk utilization on %s (SN:%s Model:%s Firmware:%s) %s",
     "Monitoring of a storage device has detected low disk space.",
     "Please archive and delete unnecessary data files on this device.", 5},
    {"STORAGEDEVICE_IO_ERROR_EXTERNAL_USB", 3,
     "USB storage at %s (SN:%s Model:%s Firmware:%s) appears to be faulty.",
     "Storage device is reporting problems. This could mean faulty hardware.",
     "Please check and replace external USB drive.", 4},
    {"STORAGEDEVICE_IO_ERROR", 3, "%s (SN:%s Model:%s Firmware:%s) has read or write errors and is unstable.",
     "Storage device is reporting problems. This could mean faulty hardware or device reaching end of life.",
     "standard 2", 4},
    {"STORAGEDEVICE_MONITOR_ERROR", 3,
     "A test operation (%s) encountered an error on %s (SN:%s Model:%s Firmware:%s): %s",
     "Monitoring of a storage device experienced an error. This could indicate underlying issues with the "
     "physical medium.",
     "standard 2", 6},
};

std::string actionOf(Vorn::LogDescriptor const & message) {
   Vorn::RecommendedAction const & action = message.recommendedAction;
   return action.isStandard() ? "standard " + std::to_string(static_cast<int>(action.code()))
                              : std::string{action.ownText()};
}

TEST(LogCatalogueTest, HasTheTenMessagesToTheLetterInTableOrder) {
   ASSERT_EQ(Catalogue::all.size(), std::size(expected));
   for (std::size_t i = 0; i < std::size(expected); ++i) {
      Vorn::LogDescriptor const & message = Catalogue::all[i];
      EXPECT_STREQ(message.name, expected[i].name);
      EXPECT_STREQ(message.format, expected[i].format) << message.name;
      EXPECT_STREQ(message.explanation, expected[i].explanation) << message.name;
      EXPECT_EQ(actionOf(message), expected[i].action) << message.name;
      EXPECT_EQ(message.severity, expected[i].severity) << message.name;
      EXPECT_EQ(message.placeholderCount(), expected[i].arguments) << message.name;
   }
}

TEST(LogCatalogueTest, UsesOnlyTextPlaceholdersInFormats) {
   for (Vorn::LogDescriptor const & message : Catalogue::all) {
      std::string_view const format{message.format};
      for (std::size_t at = format.find('%'); at != std::string_view::npos; at = format.find('%', at + 1))
         EXPECT_EQ(format.substr(at, 2), "%s") << message.name;
   }
}

TEST(LogCatalogueTest, IsRegisteredOnceUnderTheLibrarysName) {
   auto const & modules = Vorn::modules();
   EXPECT_EQ(std::count(modules.begin(), modules.end(), &module()), 1);
   EXPECT_STREQ(module().name, "StorageDevices");
   ASSERT_EQ(module().logDescriptors.size(), 10U);
   EXPECT_EQ(module().logDescriptors.data(), Catalogue::all.data());
}

}  // namespace

}  // namespace StorageDevices
