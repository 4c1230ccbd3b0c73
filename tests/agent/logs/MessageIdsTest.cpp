#include "agent/logs/MessageIds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

#include "StorageDevices/LogCatalogue.h"

namespace Agent {
namespace {

using StorageDevices::Catalogue::all;

TEST(MessageIdsTest, HasOneForEachMessageOfTheCatalogueAndNoOther) {
   ASSERT_EQ(messageIds.size(), all.size());
   for (std::size_t i = 0; i < all.size(); ++i)
      EXPECT_EQ(messageIds.at(i).name, all.at(i).name);
   EXPECT_EQ(messageId("LAMP_OUT"), std::nullopt);
}

TEST(MessageIdsTest, DiffersForEachMessageAndHas128Bits) {
   std::set<std::string_view> different;
   for (auto const & [name, id] : messageIds) {
      different.insert(id);
      EXPECT_EQ(id.size(), 32U) << name;
      EXPECT_EQ(id.find_first_not_of("0123456789abcdef"), std::string_view::npos) << name;
   }
   EXPECT_EQ(different.size(), messageIds.size());
}

// Operators' scripts and the catalogues of earlier versions know them.
TEST(MessageIdsTest, StaysTheSame) {
   EXPECT_EQ(messageId("STORAGEDEVICE_LIFETIME_WARNING"), "4cd098ae65114914a70c60319dbf2212");
   EXPECT_EQ(messageId("STORAGEDEVICE_LIFETIME_INFO"), "7d7bb0eb453541408df927fb961d1479");
   EXPECT_EQ(messageId("STORAGEDEVICE_OFFLINE"), "7c47988111a1412bb4e1626a9c906846");
   EXPECT_EQ(messageId("STORAGEDEVICE_UNEXPECTED_PARTITION_MOUNTED"), "687138f10baa425b8575780aa2388421");
   EXPECT_EQ(messageId("STORAGEDEVICE_PARTITION_NOT_MOUNTED"), "e077935b84b142c99737b3af3bbf59ef");
   EXPECT_EQ(messageId("STORAGEDEVICE_DETECTION_ERROR"), "822ec72245e04087baeee230b5289e74");
   EXPECT_EQ(messageId("STORAGEDEVICE_MONITOR_WARNING"), "7958ee563884457ea683b9c3fad4af6d");
   EXPECT_EQ(messageId("STORAGEDEVICE_IO_ERROR_EXTERNAL_USB"), "518e334b16ea4dab90cc6951082e3c5d");
   EXPECT_EQ(messageId("STORAGEDEVICE_IO_ERROR"), "33d486bc475f4f0dbb85148512ec66f1");
   EXPECT_EQ(messageId("STORAGEDEVICE_MONITOR_ERROR"), "cf6bb33cdeed4309a1d7cab5a0c582e0");
}

}  // namespace
}  // namespace Agent
