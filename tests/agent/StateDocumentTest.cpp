#include "agent/StateDocument.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <string>

#include "StorageDevices/ConnectedDevices.h"

namespace {

using StorageDevices::ConnectedDevices;
using BusType = StorageDevices::ConnectedDisk::BusType;
using EntityMib::StorageType;

rapidjson::Document document(ConnectedDevices const & devices, bool ready) {
   rapidjson::Document parsed;
   parsed.Parse(Agent::stateDocument({devices, ready, 1795196298.5}).c_str());
   return parsed;
}

TEST(StateDocumentTest, AnEmptyUnitHasAllItsKeys) {
   auto const devices = Pelm::make<ConnectedDevices>();
   auto const state = document(*devices, false);
   EXPECT_TRUE(state["version"].IsString());
   EXPECT_EQ(state["time"].GetDouble(), 1795196298.5);
   EXPECT_FALSE(state["internalDevicesReady"].GetBool());
   EXPECT_TRUE(state["connectedDevices"]["disk"].ObjectEmpty());
   EXPECT_TRUE(state["connectedDevices"]["udevSerialToSerialMap"].ObjectEmpty());
   EXPECT_EQ(state.MemberCount(), 4U);
}

TEST(StateDocumentTest, ADiskIsToldWithEveryField) {
   auto const devices = Pelm::make<ConnectedDevices>();
   devices->diskIs("SN1", StorageType::sataSsd, "/dev/sda", "/mnt/drive", "Model A", "1.2", false,
                   BusType::sata, "1", 256);
   devices->udevSerialToSerialMapIs("UDEV1", "SN1");
   auto const state = document(*devices, true);
   EXPECT_TRUE(state["internalDevicesReady"].GetBool());
   auto const & disk = state["connectedDevices"]["disk"]["SN1"];
   EXPECT_STREQ(disk["name"].GetString(), "SN1");
   EXPECT_EQ(disk["mibType"].GetInt(), 2);
   EXPECT_STREQ(disk["blockDevice"].GetString(), "/dev/sda");
   EXPECT_STREQ(disk["mountPoint"].GetString(), "/mnt/drive");
   EXPECT_STREQ(disk["model"].GetString(), "Model A");
   EXPECT_STREQ(disk["firmwareRevision"].GetString(), "1.2");
   EXPECT_FALSE(disk["removable"].GetBool());
   EXPECT_EQ(disk["busType"].GetInt(), 1);
   EXPECT_STREQ(disk["devAddress"].GetString(), "1");
   EXPECT_EQ(disk["sizeGb"].GetUint(), 256U);
   EXPECT_STREQ(disk["deviceIntfAndAddress"].GetString(), "ata1");
   EXPECT_STREQ(state["connectedDevices"]["udevSerialToSerialMap"]["UDEV1"].GetString(), "SN1");
}

TEST(StateDocumentTest, NamesFromDevicesAreMadeValid) {
   auto const devices = Pelm::make<ConnectedDevices>();
   devices->diskIs(Pelm::String{std::string_view{"S\xff\x01\0N", 5}}, StorageType::eMmc, "/dev/mmcblk0",
                   "/mnt/x", "\xc3\x28", "", true, BusType::other, "", 4294967295U);
   auto const state = document(*devices, true);
   ASSERT_FALSE(state.HasParseError());
   ASSERT_EQ(state["connectedDevices"]["disk"].MemberCount(), 1U);
   auto const & disk = state["connectedDevices"]["disk"].MemberBegin()->value;
   EXPECT_STREQ(disk["model"].GetString(), "\xef\xbf\xbd(");
   EXPECT_EQ(disk["sizeGb"].GetUint(), 4294967295U);
}

TEST(StateDocumentTest, NamesFromDevicesCannotSteerATerminal) {
   auto const devices = Pelm::make<ConnectedDevices>();
   // The eight-bit escape of terminals, a right-to-left override, and an innocent letter.
   std::string const model =
       "\xc2\x9b"
       "2J\xe2\x80\xae\xc3\xbc";
   devices->diskIs("SN\xc2\x9b", StorageType::sataSsd, "/dev/sda", "/mnt/drive", Pelm::String{model}, "",
                   false, BusType::sata, "1", 256);
   std::string const text = Agent::stateDocument({*devices, true, 0});
   EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; })) << text;
   rapidjson::Document state;
   state.Parse(text.c_str());
   EXPECT_EQ(state["connectedDevices"]["disk"]["SN\xc2\x9b"]["model"].GetString(), model);
}

}  // namespace
