// What a JSON text may take, where memory is plenty and where it is scarce.
#include "base/JsonMemory.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <array>
#include <new>
#include <string>
#include <vector>

#include "StorageDevices/JsonDocument.h"
#include "StorageDevices/NvmeList.h"
#include "tests/support/MemoryLimit.h"

namespace StorageDevices {

namespace {

constexpr std::string_view refused = "Terminate parsing due to Handler error.";
constexpr std::size_t kiB = 1024;
constexpr std::size_t miB = 1024 * kiB;
constexpr std::size_t outputSize = 3900 * kiB;  // the most that a tool may print is 4 MiB

// `open`, then elements with a comma between them up to the size, then `close`.
std::string filled(std::size_t size, std::string const & element, std::string const & open = "[",
                   std::string const & close = "]") {
   std::string text = open + element;
   text.reserve(size + element.size());
   while (text.size() + element.size() + close.size() < size)
      text.append(",").append(element);
   return text + close;
}

struct Hostile {
   char const * name;
   std::string text;
};

std::vector<Hostile> hostileTexts(std::size_t size) {
   std::string nested;
   for (std::size_t i = 0; i < size / 2; ++i)
      nested += '[';
   for (std::size_t i = 0; i < size / 2; ++i)
      nested += ']';
   std::string const row =
       R"({"id":1,"name":"A","value":1,"worst":1,"flags":{"value":1},"raw":{"value":1,"string":"1"}})";
   return {{"numbers", filled(size, "0")},
           {"lists", filled(size, "[]")},
           {"lists in lists", filled(size, "[[[0]],[[0]]]")},
           {"members", filled(size, R"("":0)", "{", "}")},
           {"objects", filled(size, R"({"a":0})")},
           {"texts", filled(size, R"("a text that has no place in its value")")},
           {"one text", "[\"" + std::string(size - 4, 'x') + "\"]"},
           {"one name", "{\"" + std::string(size - 6, 'x') + "\":0}"},
           {"nesting", nested},
           {"rows", filled(size, row, R"({"ata_smart_attributes":{"table":[)", "]}}")},
           {"drives",
            filled(size, R"({"DevicePath":"/dev/nvme0n1","SerialNumber":"S1"})", R"({"Devices":[)", "]}")},
           {"half a document", filled(size, "0").substr(0, size - 1)}};
}

TEST(JsonMemoryTest, KeepsTheContentsOfABlockThatGrowsAndShrinks) {
   void * block = nullptr;
   std::size_t size = 0;
   for (std::size_t const next :
        {std::size_t{1}, std::size_t{100}, 100 * kiB, 7 * miB, 200 * kiB, std::size_t{10}}) {
      block = Base::JsonMemory::Realloc(block, size, next);
      auto * const bytes = static_cast<unsigned char *>(block);
      for (std::size_t i = 0; i < std::min(size, next); i += 7)
         EXPECT_EQ(bytes[i], static_cast<unsigned char>(i)) << next;
      for (std::size_t i = 0; i < next; ++i)
         bytes[i] = static_cast<unsigned char>(i);
      size = next;
   }
   EXPECT_EQ(Base::JsonMemory::Realloc(block, size, 0), nullptr);
   EXPECT_EQ(Base::JsonMemory::Malloc(0), nullptr);
   Base::JsonMemory::Free(nullptr);
}

TEST(JsonMemoryTest, RaisesForASizeThatItsOwnHeadMakesOverflow) {
   std::size_t const volatile most = SIZE_MAX;
   EXPECT_THROW(Base::JsonMemory::Malloc(most), std::bad_alloc);
   void * const block = Base::JsonMemory::Malloc(1);
   EXPECT_THROW(Base::JsonMemory::Realloc(block, 1, most), std::bad_alloc);
   Base::JsonMemory::Free(block);
}

TEST(JsonMemoryTest, RefusesNoTextOfUpToAMebibyte) {
   for (Hostile const & hostile : hostileTexts(100 * kiB))
      if (hostile.name != std::string_view{"nesting"} &&
          hostile.name != std::string_view{"half a document"}) {
         EXPECT_EQ(JsonDocument{hostile.text}.error(), "") << hostile.name;
      }
   EXPECT_EQ(JsonDocument{filled(miB, "0")}.error(), "") << "the densest of them";
}

TEST(JsonMemoryTest, RefusesADenseTextBeyondAMebibyte) {
   EXPECT_EQ(JsonDocument{filled(outputSize, "0")}.error(), refused);
   std::string const plain = filled(outputSize, R"({"name":"a text as reports have them"})");
   EXPECT_EQ(JsonDocument{plain}.error(), "") << "what tools print has room";
}

TEST(JsonMemoryTest, CountsOnlyTheTextBeforeItsEnd) {
   std::string text = filled(miB + miB / 2, "0");
   text.resize(outputSize);  // with NUL bytes, the first of which is its end
   EXPECT_EQ(JsonDocument{text}.error(), refused);
}

TEST(JsonMemoryTest, DescribesAListBeyondTheBound) {
   NvmeList const list = readNvmeList(filled(outputSize, "0"), "/dev/nvme0n1");
   EXPECT_EQ(list.outcome, NvmeList::Outcome::jsonError);
   EXPECT_EQ(list.jsonError, refused);
}

#ifndef STORAGEDEVICES_SANITIZED  // sanitizers need more address space than any of these limits

using Support::survives;

TEST(JsonMemoryTest, RaisesWhereThereIsNoMemoryForABlock) {
   Support::MemoryLimit const limit{miB};
   EXPECT_THROW(Base::JsonMemory::Malloc(2 * miB), std::bad_alloc);
   void * const block = Base::JsonMemory::Malloc(200 * kiB);
   EXPECT_THROW(Base::JsonMemory::Realloc(block, 200 * kiB, 2 * miB), std::bad_alloc);
   Base::JsonMemory::Free(block);
}

void readAll(std::vector<Hostile> const & texts, std::size_t more) {
   EXPECT_TRUE(survives(more, [&] {
      for (Hostile const & one : texts) {
         JsonDocument const document{one.text};
         if (!document.isValid() && document.error() != refused && one.name != texts.back().name)
            _exit(1);
      }
   })) << more;
}

TEST(JsonMemoryTest, ReadsOrRefusesATextWithLittleMemory) {
   auto const texts = hostileTexts(200 * kiB);
   for (std::size_t const more :
        {std::size_t{0}, 64 * kiB, 500 * kiB, miB, 1700 * kiB, 1800 * kiB, 2 * miB, 4 * miB})
      readAll(texts, more);
}

TEST(JsonMemoryTest, ReadsOrRefusesTheLargestToolOutputWithLittleMemory) {
   std::vector<Hostile> const texts = {
       {"numbers", filled(outputSize, "0")},
       {"one text", "[\"" + std::string(outputSize, 'x') + "\"]"},
       {"half a document", filled(outputSize, "0").substr(0, outputSize / 2)}};
   for (std::size_t const more : {0, 4, 8, 12, 16, 17, 18, 20, 24, 32, 100})
      readAll(texts, more * miB);
}

TEST(JsonMemoryTest, ReadsAReportWithAMebibyteToSpare) {
   std::string const report = filled(30 * kiB, R"({"id":9,"name":"Power_On_Hours","value":100,"worst":100})");
   EXPECT_TRUE(survives(miB, [&] { _exit(JsonDocument{report}.isValid() ? 0 : 1); }));
}

TEST(JsonMemoryTest, ReturnsItsMemory) {
   std::vector<std::string> const texts = {filled(outputSize, "0"), filled(miB, "0"),
                                           "[\"" + std::string(outputSize, 'x') + "\"]"};
   auto const readAll = [&] {
      for (std::string const & text : texts)
         JsonDocument const document{text};
   };
   readAll();
   std::size_t const before = Support::MemoryUse::now().resident;
   for (int i = 0; i < 5; ++i)
      readAll();
   EXPECT_LT(Support::MemoryUse::now().resident, before + miB);
}

#endif

}  // namespace

}  // namespace StorageDevices
