#include "agent/documents/HistoryDocument.h"

#include <rapidjson/document.h>

#include <string>

#include "tests/support/DocumentText.h"
#include "tests/support/UnitOfRecords.h"

namespace Agent {
namespace {

class HistoryDocumentTest : public Support::UnitOfRecords {
 protected:
   static constexpr char const * columns[] = {"time", "temperature", "lifeLeft", "readBytesPerSecond",
                                              "writtenBytesPerSecond"};

   std::unique_ptr<Document> document(unsigned hours = 8760) const {
      return historyDocument(history, serial, hours, 1700000000);
   }
   static rapidjson::Document parsed(std::string const & text) {
      rapidjson::Document json;
      json.Parse(text.c_str());
      return json;
   }
   HistoryRows & rows() { return history.diskIs(serial).fine(); }
   // A row a minute until now.
   void minutesAre(int count) {
      HistoryRows & kept = rows();
      for (int ago = count - 1; ago >= 0; --ago)
         kept.restore({Vorn::System::currentTime() - ago * 60, 40, 90, 1000, 1000});
   }

   History history{entities, 86400};
};

TEST_F(HistoryDocumentTest, HasAnArrayPerFigure) {
   HistoryRows & kept = rows();
   kept.restore({100.0004, 34.1F, 93, 1234.6F, 0});
   kept.restore({160});
   kept.restore({220.5, noReading, noReading, 5, 7});
   EXPECT_EQ(Support::documentText(*document()),
             R"({"time":[1700000100.0,1700000160.0,1700000220.5],"temperature":[34.1,null,null],)"
             R"("lifeLeft":[93.0,null,null],"readBytesPerSecond":[1235.0,null,5.0],)"
             R"("writtenBytesPerSecond":[0.0,null,7.0]})");
}

TEST_F(HistoryDocumentTest, HasEmptyArraysForADiskWithoutAHistory) {
   EXPECT_EQ(
       Support::documentText(*document()),
       R"({"time":[],"temperature":[],"lifeLeft":[],"readBytesPerSecond":[],"writtenBytesPerSecond":[]})");
}

TEST_F(HistoryDocumentTest, ShowsTheLatestHoursAlone) {
   minutesAre(1000);
   EXPECT_EQ(parsed(Support::documentText(*document(1)))["time"].Size(), 61U);
   EXPECT_EQ(parsed(Support::documentText(*document(24)))["lifeLeft"].Size(), 1000U);
}

TEST_F(HistoryDocumentTest, ComesInSmallPieces) {
   minutesAre(1400);
   auto const written = document();
   std::size_t pieces = 0;
   for (std::string_view piece = written->next(); !piece.empty(); piece = written->next(), ++pieces)
      EXPECT_LE(piece.size(), 8192U);
   EXPECT_GT(pieces, 5U);
}

TEST_F(HistoryDocumentTest, KeepsOneLengthWhereItsReaderIsOvertaken) {
   minutesAre(1400);
   auto const written = document();
   std::string text{written->next()};
   history.forgetGone();
   text += Support::documentText(*written);
   auto const json = parsed(text);
   ASSERT_FALSE(json.HasParseError());
   auto const length = json["time"].Size();
   EXPECT_GT(length, 0U);
   EXPECT_LT(length, 1400U);
   for (char const * column : columns)
      EXPECT_EQ(json[column].Size(), length) << column;
   EXPECT_TRUE(json["time"][length - 1].IsNumber());
}

TEST_F(HistoryDocumentTest, ShowsNothingOfALaterHistoryOfTheDisk) {
   minutesAre(1400);
   auto const written = document();
   std::string text{written->next()};
   minutesAre(1400);  // in the place of the former
   text += Support::documentText(*written);
   auto const json = parsed(text);
   ASSERT_FALSE(json.HasParseError());
   EXPECT_LT(json["time"].Size(), 1400U);
   EXPECT_TRUE(json["writtenBytesPerSecond"][0].IsNull());
}

TEST_F(HistoryDocumentTest, ShowsNoOtherRowInThePlaceOfADroppedOne) {
   minutesAre(1400);
   auto const written = document();
   std::string text;
   while (text.find("lifeLeft") == std::string::npos)
      text += written->next();
   DiskHistory & disk = const_cast<DiskHistory &>(*history.disk(serial));
   for (int i = 1; i <= 500; ++i)
      disk.add({Vorn::System::currentTime() + i * 60, 99, 99, 9, 9}, 60);
   text += Support::documentText(*written);
   auto const json = parsed(text);
   ASSERT_FALSE(json.HasParseError());
   auto const & rates = json["writtenBytesPerSecond"];
   ASSERT_EQ(rates.Size(), 1400U);
   EXPECT_TRUE(rates[0].IsNull());
   EXPECT_EQ(rates[1399].GetDouble(), 1000);
}

}  // namespace
}  // namespace Agent
