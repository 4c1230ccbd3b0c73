#include "StorageDevices/LogMessages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <utility>
#include <vector>

#include "tests/support/LogRecorder.h"
#include "tests/support/VirtualTimeTest.h"

namespace StorageDevices {

namespace {

template <class Message, class... Texts>
concept Takes = requires(Message message, Texts... texts) {
   message(texts...);
};

using Text = Pelm::String;

// As many texts as the format has placeholders, neither more nor fewer.
static_assert(Takes<decltype(LogMessages::offline), Text>);
static_assert(!Takes<decltype(LogMessages::offline)>);
static_assert(!Takes<decltype(LogMessages::offline), Text, Text>);
static_assert(Takes<decltype(LogMessages::partitionNotMounted), Text, Text>);
static_assert(!Takes<decltype(LogMessages::partitionNotMounted), Text>);
static_assert(Takes<decltype(LogMessages::unexpectedPartitionMounted), Text, Text, Text>);
static_assert(!Takes<decltype(LogMessages::unexpectedPartitionMounted), Text, Text>);
static_assert(Takes<decltype(LogMessages::ioError), Text, Text, Text, Text>);
static_assert(!Takes<decltype(LogMessages::ioError), Text, Text, Text>);
static_assert(Takes<decltype(LogMessages::monitorWarning), Text, Text, Text, Text, Text>);
static_assert(!Takes<decltype(LogMessages::monitorWarning), Text, Text, Text, Text>);
static_assert(Takes<decltype(LogMessages::monitorError), Text, Text, Text, Text, Text, Text>);
static_assert(!Takes<decltype(LogMessages::monitorError), Text, Text, Text, Text, Text>);
static_assert(Takes<decltype(LogMessages::lifetimeInfo), Text, char const *, std::string, Text, Text, Text>);

class LogMessagesTest : public Support::VirtualTimeTest {
 protected:
   // The hashes by which the rate limit knows the message, with each argument changed in turn.
   template <Vorn::LogDescriptor const & descriptor>
   std::set<std::uint64_t> hashesOf(LogMessage<descriptor> & message) {
      constexpr auto places = std::make_index_sequence<descriptor.placeholderCount()>{};
      recorder_.clear();
      for (std::size_t changed = 0; changed <= places.size(); ++changed)
         logChanged(message, changed, places);
      std::set<std::uint64_t> hashes;
      for (auto const & logged : recorder_.messages())
         hashes.insert(logged.argsHash);
      return hashes;
   }

   LogMessages logs_;
   Support::LogRecorder recorder_;

 private:
   template <class Message, std::size_t... place>
   static void logChanged(Message & message, std::size_t changed, std::index_sequence<place...>) {
      message((place == changed ? "changed" : "same")...);
   }
};

TEST_F(LogMessagesTest, DeliversEveryMessageToTheSinkWithItsArgumentsInOrder) {
   logs_.monitorError("write", "/mnt/flash", "S", "M", "F", "why");
   logs_.ioError("/mnt/drive", "S", "M", "F");
   logs_.ioErrorExternalUsb("/mnt/usb1", "S", "M", "F");
   logs_.monitorWarning("/mnt/flash", "S", "M", "F", "exceeds 95%");
   logs_.detectionError("drive2");
   logs_.partitionNotMounted("/dev/sda1", "/mnt/drive");
   logs_.unexpectedPartitionMounted("/dev/sdb1", "/mnt/drive", "/dev/sda");
   logs_.offline("S1");
   logs_.lifetimeInfo("/mnt/drive", "S", "M", "F", "12", "7");
   logs_.lifetimeWarning("/mnt/drive", "S", "M", "F", "340", "7");
   std::string const disk = "(SN:S Model:M Firmware:F)";
   std::string const lifetime = "Lifetime of /mnt/drive " + disk + " has decreased faster than expected ";
   EXPECT_EQ(recorder_.texts(),
             (std::vector<std::string>{
                 "A test operation (write) encountered an error on /mnt/flash " + disk + ": why",
                 "/mnt/drive " + disk + " has read or write errors and is unstable.",
                 "USB storage at /mnt/usb1 " + disk + " appears to be faulty.",
                 "disk utilization on /mnt/flash " + disk + " exceeds 95%",
                 "Failed to detect storage device drive2 on bootup.",
                 "Storage device partition /dev/sda1 not mounted as /mnt/drive",
                 std::string{"Unexpected partition /dev/sdb1 mounted as /mnt/drive. "} +
                     "Expected storage device partition /dev/sda to be mounted instead.",
                 "A removal event occurred unexpectedly for internal storage device S1",
                 lifetime + "(12GB written in the last 7 days).",
                 lifetime + "(340GB written in the last 7 days)."}));
}

TEST_F(LogMessagesTest, ConvertsNumbersToText) {
   logs_.lifetimeInfo("/mnt/drive", "S", "M", "F", std::uint64_t{340}, 7.25);
   logs_.lifetimeWarning("/mnt/drive", "S", "M", "F", 12, Vorn::Seconds{0.5});
   ASSERT_EQ(recorder_.messages().size(), 2U);
   EXPECT_EQ(recorder_.messages()[0].arguments,
             (std::vector<std::string>{"/mnt/drive", "S", "M", "F", "340", "7.25"}));
   EXPECT_EQ(recorder_.messages()[1].arguments,
             (std::vector<std::string>{"/mnt/drive", "S", "M", "F", "12", "0.5"}));
}

TEST_F(LogMessagesTest, CarriesNameSeverityArgumentsAndTime) {
   logs_.ioError("/mnt/drive", "KS0001", "Kestrel", "KF1.2");
   ASSERT_EQ(recorder_.messages().size(), 1U);
   auto const & message = recorder_.messages()[0];
   EXPECT_EQ(message.name, "STORAGEDEVICE_IO_ERROR");
   EXPECT_EQ(message.severity, 3);
   EXPECT_EQ(message.arguments, (std::vector<std::string>{"/mnt/drive", "KS0001", "Kestrel", "KF1.2"}));
   EXPECT_EQ(message.utc, Vorn::System::currentTimeUtc());
}

TEST_F(LogMessagesTest, NeverSuppressesARepeatedMessage) {
   for (int i = 0; i < 100; ++i)
      logs_.offline("KS0001");
   EXPECT_EQ(recorder_.messages().size(), 100U);
}

TEST_F(LogMessagesTest, KeysTheRateLimitByEveryArgument) {
   EXPECT_EQ(hashesOf(logs_.monitorError).size(), 7U);
   EXPECT_EQ(hashesOf(logs_.ioError).size(), 5U);
   EXPECT_EQ(hashesOf(logs_.ioErrorExternalUsb).size(), 5U);
   EXPECT_EQ(hashesOf(logs_.monitorWarning).size(), 6U);
   EXPECT_EQ(hashesOf(logs_.detectionError).size(), 2U);
   EXPECT_EQ(hashesOf(logs_.partitionNotMounted).size(), 3U);
   EXPECT_EQ(hashesOf(logs_.unexpectedPartitionMounted).size(), 4U);
   EXPECT_EQ(hashesOf(logs_.offline).size(), 2U);
   EXPECT_EQ(hashesOf(logs_.lifetimeInfo).size(), 7U);
   EXPECT_EQ(hashesOf(logs_.lifetimeWarning).size(), 7U);
}

TEST_F(LogMessagesTest, DoesNotReadArgumentsAsFormats) {
   std::string const odd{"a\0b", 3};
   logs_.partitionNotMounted("%s%n", odd);
   ASSERT_EQ(recorder_.messages().size(), 1U);
   EXPECT_EQ(recorder_.messages()[0].text, ("Storage device partition %s%n not mounted as " + odd));
}

// Members are made in the order of their addresses.
TEST_F(LogMessagesTest, MakesTheHandlesInTheirFixedOrderAfterTheModule) {
   std::vector<void const *> const order{&logs_.registered,
                                         &logs_.monitorError,
                                         &logs_.ioError,
                                         &logs_.ioErrorExternalUsb,
                                         &logs_.monitorWarning,
                                         &logs_.detectionError,
                                         &logs_.partitionNotMounted,
                                         &logs_.unexpectedPartitionMounted,
                                         &logs_.offline,
                                         &logs_.lifetimeInfo,
                                         &logs_.lifetimeWarning};
   EXPECT_TRUE(std::is_sorted(order.begin(), order.end(), std::less<void const *>{}));
   EXPECT_TRUE(logs_.registered);
}

}  // namespace

}  // namespace StorageDevices
