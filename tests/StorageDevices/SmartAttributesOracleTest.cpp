// The reading of SMART reports against a naive one, on random reports.
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <string>

#include "NaiveSmart.h"
#include "RandomJson.h"
#include "SmartRecords.h"
#include "StorageDevices/SmartAttributes.h"
#include "tests/support/RandomSeed.h"

namespace StorageDevices {
namespace {

using NaiveJson::Value;
using NaiveSmart::knownRows;
using SmartRecords::namedFields;

#ifdef STORAGEDEVICES_SANITIZED
constexpr int attributeRuns = 10'000;
#else
constexpr int attributeRuns = 100'000;
#endif

std::int64_t rawLowByte(SmartAttr const & attr) {
   return attr.raw & 0xff;
}

std::int64_t twiceTheWorst(SmartAttr const & attr) {
   return std::int64_t{2} * attr.worst;
}

// The same mapping in the library's words and in the naive reader's.
struct Mappings {
   DriveSmartMapping real;
   NaiveSmart::Mapping naive;
};

class AttributeReportMaker {
 public:
   explicit AttributeReportMaker(std::uint32_t seed) : json_{seed} {}

   Value report() {
      Value document = RandomJson::object();
      Value status = RandomJson::object();
      json_.add(status, "passed", RandomJson::literal(json_.oneIn(4) ? "false" : "true"));
      Value attributes = RandomJson::object();
      json_.add(attributes, "table", table());
      json_.add(document, "smart_status", status);
      json_.add(document, "ata_smart_attributes", attributes);
      json_.shuffle(document);
      return json_.oneIn(200) ? json_.any() : document;
   }

   Mappings mappings() {
      Mappings result;
      for (unsigned count = json_.oneIn(3) ? 1 + json_.below(3) : 0; count > 0; --count) {
         auto const id = static_cast<std::uint8_t>(json_.oneIn(4) ? json_.below(256) : known().id);
         auto const & [name, field] = json_.pick(namedFields);
         bool const ignore = json_.oneIn(4);
         auto * const value = json_.oneIn(3) ? nullptr : json_.oneIn(2) ? rawLowByte : twiceTheWorst;
         result.real[id] = {field, value, ignore};
         result.naive[id] = {ignore, name, value};
      }
      return result;
   }

   std::string text(Value const & value) { return json_.text(value); }

 private:
   // Few, so that several rows of a table belong to the same field.
   NaiveSmart::Known const & known() {
      constexpr unsigned neighbours = 4;
      return knownRows[(favourite_ + json_.below(neighbours)) % std::size(knownRows)];
   }

   Value table() {
      favourite_ = json_.below(static_cast<unsigned>(std::size(knownRows)));
      Value table = RandomJson::array();
      unsigned const size = json_.oneIn(50) ? 20 : json_.below(4);
      for (unsigned count = size; count > 0; --count)
         table.elements.push_back(json_.oneIn(40) ? json_.any() : row());
      return table;
   }

   Value byte() {
      static char const * const bytes[] = {"0", "1", "9", "50", "99", "100", "200", "253", "255"};
      return RandomJson::number(json_.pick(bytes));
   }

   Value row() {
      auto const & wanted = known();
      unsigned const id =
          json_.oneIn(6) || wanted.id == 0 ? (json_.oneIn(2) ? json_.below(256) : known().id) : wanted.id;
      std::string const name = json_.oneIn(12)   ? json_.misspelt(wanted.name)
                               : json_.oneIn(12) ? json_.bytes()
                               : json_.oneIn(12) ? json_.pick(knownRows).name
                                                 : wanted.name;
      Value row = RandomJson::object();
      json_.add(row, "id", RandomJson::number(std::to_string(id)), 60);
      json_.add(row, "name", RandomJson::string(name), 60);
      json_.add(row, "value", byte(), 60);
      json_.add(row, "worst", byte(), 60);
      json_.add(row, "thresh", byte(), 12);
      json_.add(row, "flags", withValue(byte(), RandomJson::string("PO--CK ")), 60);
      json_.add(row, "raw", withValue(raw(), RandomJson::string(rawString())), 60);
      if (json_.oneIn(3))
         json_.shuffle(row);
      return row;
   }

   Value withValue(Value value, Value const & string) {
      Value object = RandomJson::object();
      json_.add(object, "value", std::move(value), 60);
      json_.add(object, "string", string, 12);
      return object;
   }

   Value raw() {
      if (json_.oneIn(4))
         return json_.number();
      constexpr long long packedTemperature = 36 + (20LL << 16) + (45LL << 32);
      return RandomJson::number(
          std::to_string(json_.oneIn(2) ? packedTemperature : static_cast<long long>(json_.below(200))));
   }

   std::string rawString() {
      static char const * const strings[] = {"36",
                                             "36 (Min/Max 20/45)",
                                             "-5 (Min/Max -9/30)",
                                             "-40",
                                             "-41",
                                             "140",
                                             "141",
                                             "0036",
                                             "-",
                                             " 36",
                                             "+36",
                                             "36.9",
                                             "4294967332",
                                             "99999999999999999999",
                                             "-0",
                                             "12345h+27m+13.000s",
                                             "",
                                             "x36",
                                             "36\xff"};
      return json_.oneIn(8) ? json_.bytes() : json_.pick(strings);
   }

   RandomJson json_;
   unsigned favourite_ = 0;
};

SmartRecords::Record readByTheLibrary(std::string const & text, DriveSmartMapping const & mapping) {
   JsonDocument const document(text);
   EXPECT_EQ(document.error(), "") << text;
   auto const data = Pelm::make<DeviceSmartData>("SN1");
   bool const found = parseHealthStatus(document.root(), *data);
   EXPECT_EQ(found, data->healthStatusRead()) << text;
   if (auto const * table = smartAttrsTable(document.root()))
      parseSmartAttrs(*table, *data, mapping);
   return SmartRecords::recordOf(*data);
}

// How often each side of a question was met: inputs that meet one alone would prove little.
struct Tally {
   int filled = 0;
   int unknown = 0;
   int failing = 0;
   int withoutTable = 0;
   std::map<std::string, int> fields;

   void add(SmartRecords::Record const & record) {
      filled += record.fields.empty() ? 0 : 1;
      unknown += record.unknown.empty() ? 0 : 1;
      failing += record.allPassing == false ? 1 : 0;
      withoutTable += record.allPassing ? 0 : 1;
      for (auto const & [name, attr] : record.fields)
         ++fields[name];
   }
};

TEST(SmartAttributesOracleTest, ReadsRandomReportsAsANaiveReaderDoes) {
   AttributeReportMaker maker(Support::randomSeed(20240611));
   Tally tally;
   for (int i = 0; i < attributeRuns; ++i) {
      Value const report = maker.report();
      std::string const text = maker.text(report);
      auto const mappings = maker.mappings();
      auto const expected = NaiveSmart::naiveRecord(report, mappings.naive);
      auto const record = readByTheLibrary(text, mappings.real);
      ASSERT_FALSE(HasFailure());
      ASSERT_EQ(record, expected) << "report " << i << ": " << text;
      tally.add(record);
   }
   for (int const count : {tally.filled, tally.unknown, tally.failing, tally.withoutTable})
      EXPECT_TRUE(count > attributeRuns / 20 && count < attributeRuns - attributeRuns / 20) << count;
   EXPECT_EQ(tally.fields.size(), std::size(namedFields));
   for (auto const & [name, count] : tally.fields)
      EXPECT_GT(count, attributeRuns / 200) << name;
}

// The naive reader of texts sees in them what they were written from: both sides read one report.
TEST(SmartAttributesOracleTest, ReadsGeneratedReportsBackByTheNaiveReader) {
   AttributeReportMaker maker(Support::randomSeed(20240612));
   for (int i = 0; i < attributeRuns / 50; ++i) {
      Value const report = maker.report();
      std::string const text = maker.text(report);
      ASSERT_EQ(NaiveSmart::naiveRecord(NaiveJson::Reader(text).value()), NaiveSmart::naiveRecord(report))
          << text;
   }
}

}  // namespace
}  // namespace StorageDevices
