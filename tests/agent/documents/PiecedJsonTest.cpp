#include "agent/documents/PiecedJson.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <random>
#include <string>

#include "agent/documents/HealthDocument.h"
#include "agent/documents/MessagesDocument.h"
#include "agent/documents/StateDocument.h"
#include "runtime/Vorn/Log.h"
#include "tests/support/DiskFields.h"
#include "tests/support/DocumentText.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/VirtualTimeTest.h"

namespace Agent {
namespace {

using StorageDevices::IOStatData;

rapidjson::Document parsed(std::string const & text) {
   rapidjson::Document document;
   document.Parse(text.c_str());
   EXPECT_FALSE(document.HasParseError()) << "at " << document.GetErrorOffset() << " of " << text;
   return document;
}

// The rest of a document, and its longest piece.
struct Rest {
   explicit Rest(Document & document) {
      for (std::string_view piece = document.next(); !piece.empty(); piece = document.next()) {
         text += piece;
         longest = std::max(longest, piece.size());
      }
   }
   std::string text;
   std::size_t longest = 0;
};

TEST(PiecedJsonTest, RaisesWhenThereIsNoMemory) {
   std::size_t const volatile tooMuch = SIZE_MAX / 4 * 3;
   EXPECT_THROW(Base::JsonMemory::Malloc(tooMuch), std::bad_alloc);
   Base::JsonBuffer buffer;
   EXPECT_THROW(buffer.Reserve(tooMuch), std::bad_alloc);
   Base::JsonWriter writer{buffer};
   writer.Int(7);
   EXPECT_STREQ(buffer.GetString(), "7");
}

TEST(PiecedJsonTest, CutsAnOverlongText) {
   std::string const text = Support::documentText(wholeJson(
       [](Base::JsonWriter & writer) { Base::writeText(writer, std::string(Base::longestText + 1, 'x')); }));
   EXPECT_EQ(text.size(), Base::longestText + 2);
}

TEST(PiecedJsonTest, WritesSomeKilobytesPerPiece) {
   auto const devices = Pelm::make<StorageDevices::ConnectedDevices>();
   for (int i = 0; i < 1000; ++i)
      devices->udevSerialToSerialMapIs(std::to_string(i).c_str(), "S");
   PiecedJson document{
       jsonObject(devices->udevSerialToSerialMap, [](Base::JsonWriter & writer, Pelm::String const & serial) {
          Base::writeText(writer, serial.view());
       })};
   Rest const rest{document};
   EXPECT_GT(rest.text.size(), 2 * PiecedJson::pieceBytes);
   EXPECT_LE(rest.longest, PiecedJson::pieceBytes + 20);
   EXPECT_EQ(parsed(rest.text).MemberCount(), 1000U);
   EXPECT_TRUE(document.next().empty());
}

class PiecedHistoryTest : public Support::VirtualTimeTest {
 protected:
   PiecedHistoryTest() {
      for (char const * serial : {"A", "B"}) {
         data->ioStatDataIs(serial);
         for (int i = 1; i <= 10000; ++i)
            data->ioStatData(serial)->recordMeasurement(i, 1000000000000 + i, 2000000000000 + i);
      }
   }

   Pelm::Ptr<IOStatData> data = Pelm::make<IOStatData>();
};

TEST_F(PiecedHistoryTest, IsWrittenInSmallPieces) {
   PiecedJson document{ioStatDataJson(*data, SIZE_MAX)};
   Rest const rest{document};
   EXPECT_LE(rest.longest, 2 * PiecedJson::pieceBytes);
   auto const state = parsed(rest.text);
   for (char const * serial : {"A", "B"}) {
      ASSERT_EQ(state[serial].Size(), 10000U);
      for (unsigned i = 0; i < 10000; ++i)
         ASSERT_EQ(state[serial][i]["time"].GetDouble(), i + 1);
   }
}

TEST_F(PiecedHistoryTest, IgnoresMeasurementsThatComeAndGoMeanwhile) {
   PiecedJson document{ioStatDataJson(*data, SIZE_MAX)};
   std::string text{document.next()};
   time->jumpTo(20000);
   data->ioStatData("A")->pruneMeasurements(20000 - 9000);
   for (int i = 10001; i <= 10100; ++i)
      data->ioStatData("A")->recordMeasurement(i, 0, 0);
   auto const state = parsed(text + Rest{document}.text);
   auto const & history = state["A"];
   double last = 0;
   for (auto const & measurement : history.GetArray()) {
      EXPECT_GT(measurement["time"].GetDouble(), last);
      last = measurement["time"].GetDouble();
   }
   EXPECT_EQ(last, 10000);
   EXPECT_EQ(history[history.Size() - 1001]["time"].GetDouble(), 9000);
   EXPECT_LT(history.Size(), 1300U);
   EXPECT_EQ(state["B"].Size(), 10000U);
}

TEST_F(PiecedHistoryTest, EndsWithADiskThatGoesMeanwhile) {
   PiecedJson document{ioStatDataJson(*data, SIZE_MAX)};
   std::string text{document.next()};
   data->ioStatDataDel("A");
   data->ioStatDataIs("C");
   auto const state = parsed(text + Rest{document}.text);
   EXPECT_GT(state["A"].Size(), 0U);
   EXPECT_LT(state["A"].Size(), 200U);
   EXPECT_EQ(state["B"].Size(), 10000U);
   EXPECT_FALSE(state.HasMember("C"));
}

TEST_F(PiecedHistoryTest, OmitsADiskThatGoesBeforeItsTurn) {
   PiecedJson document{ioStatDataJson(*data, SIZE_MAX)};
   std::string text{document.next()};
   data->ioStatDataDel("B");
   auto const state = parsed(text + Rest{document}.text);
   EXPECT_EQ(state.MemberCount(), 1U);
   EXPECT_EQ(state["A"].Size(), 10000U);
}

TEST(PiecedMessagesTest, OmitsThoseDroppedMeanwhileAndLeavesLaterOnesToTheNext) {
   constexpr Vorn::LogDescriptor lamp{"LAMP_OUT", "lamp %s is out", "It is dark.", "Change it.", 4};
   MessageStore store;
   auto const add = [&](int count) {
      for (int i = 0; i < count; ++i)
         store.add({lamp, {"1"}, Vorn::logText(lamp, {"1"}), 1.5});
   };
   add(MessageStore::kept);
   auto const document = Agent::messagesDocument(store, 0);
   std::string text{document->next()};
   EXPECT_LE(text.size(), 2 * PiecedJson::pieceBytes);
   add(1000);
   Rest const rest{*document};
   EXPECT_LE(rest.longest, 2 * PiecedJson::pieceBytes);
   auto const state = parsed(text + rest.text);
   auto const & messages = state["messages"];
   EXPECT_EQ(messages[messages.Size() - 1]["sequence"].GetUint(), MessageStore::kept);
   EXPECT_EQ(messages[messages.Size() - 1000]["sequence"].GetUint(), 1001U);
   EXPECT_LT(messages.Size(), 1100U);
}

StorageDevices::SmartAttr attr(std::uint8_t id, std::size_t textSize) {
   StorageDevices::SmartAttr result;
   result.id = id;
   result.name = Pelm::String{std::string(textSize, 'x')};
   result.rawString = Pelm::String{std::string(textSize, '\xff')};
   return result;
}

class PiecedStateTest : public Support::VirtualTimeTest {
 protected:
   std::unique_ptr<Document> document(std::size_t history = usualHistory) const {
      return stateDocument({true, 1, entities, {}, tools, readings, verdicts}, history);
   }
   Pelm::String serial() { return std::to_string(random() % 30).c_str(); }

   void change() {
      auto const name = serial();
      switch (random() % 6) {
         case 0:
            Support::DiskFields{.name = name.str()}.writeTo(*entities.devices);
            entities.ioStat->ioStatDataIs(name);
            entities.smart->deviceDataIs(name);
            entities.nvme->deviceDataIs(name);
            break;
         case 1:
            entities.devices->diskDel(name);
            entities.ioStat->ioStatDataDel(name);
            entities.smart->deviceDataDel(name);
            entities.nvme->deviceDataDel(name);
            break;
         case 2:
            if (auto const record = entities.smart->deviceData(name))
               record->unknownAttrIs(attr(static_cast<std::uint8_t>(random() % 200), 20));
            break;
         case 3:
            entities.kernelErrors->fsListIs(name, "/dev/sda", "ata1", false);
            break;
         case 4:
            if (auto const history = entities.ioStat->ioStatData(name))
               history->pruneMeasurements(static_cast<double>(random() % 500));
            break;
         default:
            measure();
      }
   }
   void measure() {
      time->jumpBy(1);
      for (auto const & [name, history] : entities.ioStat->ioStatData)
         history->recordMeasurement(time->now(), random(), random());
   }

   std::mt19937 random{Support::randomSeed(20261122)};
   Entities entities;
   Pelm::Ptr<Brul::ChildProcessTrackerSm> tracker = Pelm::make<Brul::ChildProcessTrackerSm>();
   ToolRuns tools{tracker};
   Readings readings{entities};
   Config::VerdictLimits limits;
   Verdicts verdicts{entities, limits, readings, [] { return nullptr; }, [] { return false; }};
};

TEST_F(PiecedStateTest, IsValidWhateverChangesBetweenItsPieces) {
   for (int i = 0; i < 2000; ++i)
      change();
   for (int round = 0; round < 30; ++round) {
      auto const state = document(round % 3 == 0 ? SIZE_MAX : random() % 200);
      std::string text;
      std::size_t pieces = 0;
      for (std::string_view piece = state->next(); !piece.empty(); piece = state->next(), ++pieces) {
         text += piece;
         for (unsigned changes = random() % 20; changes > 0; --changes)
            change();
      }
      ASSERT_FALSE(parsed(text).HasParseError());
      EXPECT_GT(pieces, 3U);
   }
}

TEST_F(PiecedStateTest, ShowsTheNewestSixtyMeasurementsUnlessOthersAreRequested) {
   entities.ioStat->ioStatDataIs("A");
   for (int i = 0; i < 200; ++i)
      measure();
   auto const size = [this](auto... history) {
      return parsed(Support::documentText(*document(history...)))["ioStatData"]["A"].Size();
   };
   EXPECT_EQ(size(), 60U);
   EXPECT_EQ(size(std::size_t{7}), 7U);
   EXPECT_EQ(size(SIZE_MAX), 200U);
}

TEST_F(PiecedStateTest, StaysSmallForARecordThatAToolFilledToTheLimit) {
   entities.smart->deviceDataIs("A");
   for (int id = 0; id < 256; ++id)
      entities.smart->deviceData("A")->unknownAttrIs(attr(static_cast<std::uint8_t>(id), 10000));
   auto const state = document();
   Rest const rest{*state};
   EXPECT_EQ(parsed(rest.text)["smartData"]["A"]["unknownAttrs"].Size(), 256U);
   EXPECT_LT(rest.longest, std::size_t{1} << 20U);
}

}  // namespace
}  // namespace Agent
