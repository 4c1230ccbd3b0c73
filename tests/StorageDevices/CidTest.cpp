#include "StorageDevices/Cid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <random>

#include "DataFiles.h"

namespace StorageDevices {
namespace {

constexpr std::string_view text =
    "9b0100455833324742"
    "0a"
    "00000a1f"
    "4b"
    "6d";

Cid cidOf(std::string_view digits) {
   auto const result = parseCid(digits);
   EXPECT_TRUE(std::holds_alternative<Cid>(result)) << digits;
   return std::holds_alternative<Cid>(result) ? std::get<Cid>(result) : Cid();
}

CidIdentity identityOf(std::string_view digits) {
   return cidIdentity(cidOf(digits));
}

CidError errorOf(std::string_view digits) {
   auto const result = parseCid(digits);
   EXPECT_TRUE(std::holds_alternative<CidError>(result)) << digits;
   return std::get<CidError>(result);
}

TEST(CidTest, ReadsTheRegisterOfAnEmmcDevice) {
   EXPECT_EQ(TestData::sample("emmc-32gb/cid"), text);
   EXPECT_EQ(identityOf(TestData::sample("emmc-32gb/cid")), (CidIdentity{"0x9b EX32GB", "00000a1f", "0.10"}));
}

TEST(CidTest, ReadsEveryFieldFromItsPlace) {
   Cid const cid = cidOf("f0e1d2c3b4a5968778695a4b3c2d1e0f");
   EXPECT_EQ(cid.mid(), 0xF0);
   EXPECT_EQ(cid.cbxStorage(), 0xE1);
   EXPECT_EQ(cid.oid(), 0xD2);
   EXPECT_EQ(cid.pnm5(), 0xC3);
   EXPECT_EQ(cid.pnm4(), 0xB4);
   EXPECT_EQ(cid.pnm3(), 0xA5);
   EXPECT_EQ(cid.pnm2(), 0x96);
   EXPECT_EQ(cid.pnm1(), 0x87);
   EXPECT_EQ(cid.pnm0(), 0x78);
   EXPECT_EQ(cid.prv(), 0x69);
   EXPECT_EQ(cid.psn(), 0x5A4B3C2DU);
   EXPECT_EQ(cid.mdt(), 0x1E);
   EXPECT_EQ(cid.crcStorage(), 0x0F);
   EXPECT_EQ(cid.crc(), 0x07);
   EXPECT_EQ(cid.cbx(), 0x01);
}

TEST(CidTest, WritesFieldsWhereItReadsThem) {
   Cid cid;
   EXPECT_EQ(cid, cidOf(std::string(32, '0')));
   cid.midIs(0xF0);
   cid.cbxStorageIs(0xE1);
   cid.oidIs(0xD2);
   cid.pnm5Is(0xC3);
   cid.pnm4Is(0xB4);
   cid.pnm3Is(0xA5);
   cid.pnm2Is(0x96);
   cid.pnm1Is(0x87);
   cid.pnm0Is(0x78);
   cid.prvIs(0x69);
   cid.psnIs(0x5A4B3C2DU);
   cid.mdtIs(0x1E);
   EXPECT_NE(cid, cidOf("f0e1d2c3b4a5968778695a4b3c2d1e0f"));
   cid.crcStorageIs(0x0F);
   EXPECT_EQ(cid, cidOf("f0e1d2c3b4a5968778695a4b3c2d1e0f"));
}

TEST(CidTest, KeepsTheBitBelowTheChecksum) {
   Cid cid;
   cid.crcIs(0x7F);
   EXPECT_EQ(cid.crcStorage(), 0xFE);
   cid.crcStorageIs(0x01);
   cid.crcIs(0x55);
   EXPECT_EQ(cid.crcStorage(), 0xAB);
   EXPECT_EQ(cid.crc(), 0x55);
   cid.crcIs(0xFF);
   EXPECT_EQ(cid.crc(), 0x7F);
}

TEST(CidTest, KeepsTheReservedBitsBesideTheForm) {
   Cid cid;
   cid.cbxStorageIs(0xFD);
   EXPECT_EQ(cid.cbx(), 1);
   cid.cbxIs(2);
   EXPECT_EQ(cid.cbxStorage(), 0xFE);
   cid.cbxStorageIs(0);
   cid.cbxIs(0xFF);
   EXPECT_EQ(cid.cbxStorage(), 0x03);
}

TEST(CidTest, StoresTheNameLastCharacterFirst) {
   Cid const cid = cidOf(text);
   EXPECT_EQ(std::string(cid.pnm(), cid.pnm() + Cid::pnmSize), "BG23XE");
   EXPECT_EQ(*cid.pnm(), cid.pnm0());
}

TEST(CidTest, RefusesAnyOtherLengthAsAnErrorOfSize) {
   EXPECT_EQ(errorOf(""), CidError::size);
   EXPECT_EQ(errorOf(std::string(text) + "\n"), CidError::size);
   EXPECT_EQ(errorOf(text.substr(1)), CidError::size);
   EXPECT_EQ(errorOf("0x" + std::string(text)), CidError::size);
   EXPECT_EQ(errorOf(std::string(31, 'x')), CidError::size);
}

TEST(CidTest, RefusesACharacterThatIsNoDigitAtEveryPlace) {
   for (std::size_t at = 0; at < text.size(); ++at) {
      for (int byte = 0; byte < 256; ++byte) {
         std::string changed(text);
         changed[at] = static_cast<char>(byte);
         bool const isDigit = byte < 128 && std::isxdigit(byte) != 0;
         EXPECT_EQ(std::holds_alternative<Cid>(parseCid(changed)), isDigit) << at << ' ' << byte;
         if (!isDigit) {
            EXPECT_EQ(errorOf(changed), CidError::hex);
         }
      }
   }
}

TEST(CidTest, AcceptsDigitsOfEitherCase) {
   std::string upper(text);
   std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return std::toupper(c); });
   EXPECT_EQ(cidOf(upper), cidOf(text));
}

TEST(CidTest, KnowsManufacturersByTheirIds) {
   EXPECT_EQ(manufacturerName(0x03), "Toshiba");
   EXPECT_EQ(manufacturerName(0x11), "Toshiba");
   EXPECT_EQ(manufacturerName(0x13), "Micron");
   EXPECT_EQ(manufacturerName(0x15), "Samsung");
   EXPECT_EQ(manufacturerName(0x45), "Western Digital");
   EXPECT_EQ(manufacturerName(0x70), "Kingston");
   EXPECT_EQ(manufacturerName(0x89), "Tricor");
   EXPECT_EQ(manufacturerName(0xF6), "Smart Modular");
   EXPECT_EQ(manufacturerName(0xFE), "Micron");
}

TEST(CidTest, ShowsUnknownManufacturersByTheirIds) {
   int unknown = 0;
   for (unsigned mid = 0; mid < 256; ++mid) {
      char expected[8];
      std::snprintf(expected, sizeof(expected), "0x%02x", mid);
      unknown += manufacturerName(static_cast<std::uint8_t>(mid)) == expected ? 1 : 0;
   }
   EXPECT_EQ(unknown, 256 - 9);
   EXPECT_EQ(manufacturerName(0x9B), "0x9b");
   EXPECT_EQ(manufacturerName(0x00), "0x00");
}

TEST(CidTest, KeepsBlanksAndNulsInTheName) {
   auto const identity = identityOf(
       "150100"
       "4120"
       "0020"
       "0042"
       "21"
       "ffffffff"
       "4b"
       "6d");
   EXPECT_EQ(identity.model, std::string("Samsung A \0 \0B", 14));
   EXPECT_EQ(identity.serial, "ffffffff");
   EXPECT_EQ(identity.firmware, "2.1");
}

TEST(CidTest, WritesSerialAndRevisionInTheirFixedForm) {
   std::mt19937 random(5);
   for (int i = 0; i < 2000; ++i) {
      Cid cid;
      cid.psnIs(static_cast<std::uint32_t>(random()) >> (random() % 32));
      cid.prvIs(static_cast<std::uint8_t>(random()));
      char serial[16];
      char firmware[16];
      std::snprintf(serial, sizeof(serial), "%08x", cid.psn());
      std::snprintf(firmware, sizeof(firmware), "%u.%u", cid.prv() / 16U, cid.prv() % 16U);
      EXPECT_EQ(cidIdentity(cid).serial, serial);
      EXPECT_EQ(cidIdentity(cid).firmware, firmware);
   }
}

TEST(CidTest, WritesATextFormThatNamesEveryFieldAndReadsBack) {
   Cid const cid = cidOf(text);
   EXPECT_EQ(
       cid.stringValue().view(),
       "Cid(crcStorage=109, mdt=75, psn=2591, prv=10, pnm0=66, pnm1=71, pnm2=50, pnm3=51, pnm4=88, pnm5=69, "
       "oid=0, cbxStorage=1, mid=155)");
   EXPECT_EQ(Cid::instance(cid.stringValue().view()).value(), cid);
   EXPECT_FALSE(Cid::instance("Cid(crcStorage=256)"));
}

}  // namespace
}  // namespace StorageDevices
