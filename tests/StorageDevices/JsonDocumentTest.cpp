#include "StorageDevices/JsonDocument.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <random>
#include <string>
#include <utility>

namespace StorageDevices {
namespace {

constexpr std::string_view depthError = "Terminate parsing due to Handler error.";

std::string nested(unsigned depth, std::string const & open, std::string const & close) {
   std::string text;
   for (unsigned i = 0; i < depth; ++i)
      text += open;
   text += "1";
   for (unsigned i = 0; i < depth; ++i)
      text += close;
   return text;
}

std::string written(JsonValue const & value) {
   rapidjson::StringBuffer buffer;
   rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
   value.Accept(writer);
   return buffer.GetString();
}

TEST(JsonDocumentTest, ReadsTheValuesOfTheText) {
   std::string const text =
       R"({"null":null,"yes":true,"no":false,"int":-5,"unsigned":7,"long":-5000000000,)"
       R"("big":18446744073709551615,"real":1.5,"text":"a\u0000b","list":[1,[2,{}],[]]})";
   JsonDocument const document(text);
   ASSERT_TRUE(document.isValid());
   EXPECT_EQ(document.error(), "");
   EXPECT_EQ(written(document.root()), text);
}

TEST(JsonDocumentTest, OutlivesItsText) {
   auto text =
       std::make_unique<std::string>(R"({"a long enough name to be allocated":"and a value like it"})");
   JsonDocument const document(*text);
   text.reset();
   EXPECT_EQ(jsonString(jsonMember(&document.root(), "a long enough name to be allocated")),
             "and a value like it");
}

// Bytes that the document of any text may occupy.
constexpr std::size_t roomForAll = sizeof(JsonValue) / 2 << 20U;

// A list of numbers, which need more memory than other texts of that length, and then the end.
std::string denseText(std::size_t numbers, std::string const & end) {
   std::string text = "[";
   while (numbers-- > 0)
      text += "1,";
   text += end + "]";
   text.resize(roomForAll / 4, ' ');
   return text;
}

TEST(JsonDocumentTest, RefusesTheValueForWhichThereIsNoMemoryLeft) {
   // The list takes one place, and there is slack for four.
   constexpr std::size_t most = roomForAll / sizeof(JsonValue) + 3;
   ASSERT_TRUE(JsonDocument(denseText(most - 10, "1")).isValid());
   for (std::string const end : {"null", "true", "-1", "1", "-5000000000", "18446744073709551615", "1.5",
                                 "\"short\"", "\"a text that takes memory of its own\"", "{}", "[]"})
      EXPECT_EQ(JsonDocument(denseText(most, end)).error(), depthError) << end;
   // Each of these leaves a little less for what comes inside the object.
   for (std::size_t left = 0; left < 10; ++left)
      JsonDocument(denseText(most - left, "{\"key\":{\"another key\":1}}"));
}

TEST(JsonDocumentTest, AcceptsAnyValueAsTheRoot) {
   for (auto const * text : {"1", "\"x\"", "null", "[]", " \t\r\n{}\n"})
      EXPECT_TRUE(JsonDocument(text).isValid()) << text;
}

TEST(JsonDocumentTest, DescribesErrorsInTheParsersWords) {
   constexpr std::pair<char const *, char const *> errors[] = {
       {"", "The document is empty."},
       {"{} x", "The document root must not be followed by other values."},
       {"nvme: not found", "Invalid value."},
       {"{a:1}", "Missing a name for object member."},
       {R"({"a" 1})", "Missing a colon after a name of object member."},
       {R"({"a":1 "b":2})", "Missing a comma or '}' after an object member."},
       {"[1 2]", "Missing a comma or ']' after an array element."},
       {R"("\u12G4")", "Incorrect hex digit after \\u escape in string."},
       {R"("\ud800")", "The surrogate pair in string is invalid."},
       {R"("\q")", "Invalid escape character in string."},
       {"\"a", "Missing a closing quotation mark in string."},
       {"\"a\tb\"", "Invalid escape character in string."},
       {"1e309", "Number too big to be stored in double."},
       {"1.", "Miss fraction part in number."},
       {"1e", "Miss exponent in number."}};
   for (auto const & [text, error] : errors)
      EXPECT_EQ(JsonDocument(text).error(), error) << text;
   EXPECT_EQ(JsonDocument(nested(JsonDocument::maxDepth + 1, "[", "]")).error(), depthError);
}

// No text causes them under the default rules; the words must not change with the library all the same.
TEST(JsonDocumentTest, HasTheParsersWordsForTheOtherErrorsToo) {
   EXPECT_STREQ(rapidjson::GetParseError_En(rapidjson::kParseErrorStringInvalidEncoding),
                "Invalid encoding in string.");
   EXPECT_STREQ(rapidjson::GetParseError_En(rapidjson::kParseErrorUnspecificSyntaxError),
                "Unspecific syntax error.");
}

TEST(JsonDocumentTest, HasNoValueAfterAnError) {
   EXPECT_EQ(JsonDocument(std::string_view()).error(), "The document is empty.");
   JsonDocument const document("[1,");
   EXPECT_FALSE(document.isValid());
   EXPECT_TRUE(document.root().IsNull());
}

TEST(JsonDocumentTest, EndsTheTextAtItsFirstNul) {
   EXPECT_TRUE(JsonDocument(std::string_view("{}\0garbage", 10)).isValid());
   EXPECT_EQ(JsonDocument(std::string_view("\0{}", 3)).error(), "The document is empty.");
   EXPECT_FALSE(JsonDocument(std::string_view("{\0}", 3)).isValid());
}

TEST(JsonDocumentTest, BoundsNesting) {
   for (auto const & [open, close] : {std::pair<std::string, std::string>("[", "]"),
                                      std::pair<std::string, std::string>("{\"a\":", "}")}) {
      EXPECT_TRUE(JsonDocument(nested(JsonDocument::maxDepth, open, close)).isValid());
      EXPECT_EQ(JsonDocument(nested(JsonDocument::maxDepth + 1, open, close)).error(), depthError);
      EXPECT_EQ(JsonDocument(nested(1'000'000, open, close)).error(), depthError);
   }
   EXPECT_EQ(JsonDocument(nested(JsonDocument::maxDepth / 2 + 1, "[{\"a\":", "}]")).error(), depthError);
}

TEST(JsonDocumentTest, BoundsTheDepthAndNotTheNumberOfNestedValues) {
   std::string text = "[0";
   for (int i = 0; i < 2000; ++i)
      text += ",[{}]";
   EXPECT_TRUE(JsonDocument(text + "]").isValid());
}

TEST(JsonDocumentTest, ToleratesAnyArgumentOfALookUp) {
   JsonDocument const document(R"({"a":{"b":"text"},"a":1,"n":"x"})");
   auto const * root = &document.root();
   EXPECT_EQ(jsonString(jsonMember(jsonMember(root, "a"), "b")), "text");
   EXPECT_EQ(jsonMember(root, "none"), nullptr);
   EXPECT_EQ(jsonMember(root, ""), nullptr);
   EXPECT_EQ(jsonMember(jsonMember(root, "n"), "b"), nullptr);
   EXPECT_EQ(jsonMember(jsonMember(root, "none"), "b"), nullptr);
   EXPECT_EQ(jsonString(jsonMember(root, "a")), std::nullopt);
   EXPECT_EQ(jsonString(nullptr), std::nullopt);
   EXPECT_EQ(jsonUnsigned(nullptr), std::nullopt);
}

TEST(JsonDocumentTest, ComparesNamesWithTheirLength) {
   JsonDocument const document(R"({"a\u0000b":1,"a":2})");
   EXPECT_EQ(jsonUnsigned(jsonMember(&document.root(), "a")), 2U);
   EXPECT_EQ(jsonUnsigned(jsonMember(&document.root(), std::string_view("a\0b", 3))), 1U);
}

TEST(JsonDocumentTest, ReadsOnlyWholeNumbersFromZeroAsUnsigned) {
   auto const read = [](std::string_view text) { return jsonUnsigned(&JsonDocument(text).root()); };
   EXPECT_EQ(read("0"), 0U);
   EXPECT_EQ(read("4294967296"), 4294967296U);
   EXPECT_EQ(read("18446744073709551615"), UINT64_MAX);
   for (auto const * text : {"18446744073709551616", "-1", "1.0", "1e3", "\"1\"", "null", "true", "[1]"})
      EXPECT_EQ(read(text), std::nullopt) << text;
}

// The depth bound must be all that distinguishes it from the parser's own document.
TEST(JsonDocumentTest, ReadsLikeAnUnboundedDocument) {
   std::string const whole =
       R"({"Devices" : [{"a":"\u00e9\n\ud83d\ude00","b":-12.5e-3,"c":[true,false,null,{}]}],"n":0})";
   std::mt19937 random(11);
   int valid = 0;
#ifdef STORAGEDEVICES_SANITIZED
   constexpr int runs = 3'000;
#else
   constexpr int runs = 50'000;
#endif
   for (int i = 0; i < runs; ++i) {
      std::string text = whole;
      for (auto changes = random() % 3; changes > 0; --changes) {
         std::string const piece(1, "{}[]\",:0e-.\\ux \x80\xFFt"[random() % 19]);
         text.replace(random() % text.size(), random() % 3, piece);
      }
      rapidjson::Document expected;
      expected.Parse(text.c_str());
      JsonDocument const document(text);
      ASSERT_EQ(document.isValid(), !expected.HasParseError()) << text;
      if (document.isValid()) {
         ASSERT_EQ(document.root(), expected) << text;
      } else {
         ASSERT_EQ(document.error(), rapidjson::GetParseError_En(expected.GetParseError())) << text;
      }
      valid += document.isValid() ? 1 : 0;
   }
   EXPECT_GT(valid, runs / 10);
   EXPECT_LT(valid, runs - runs / 10);
}

}  // namespace
}  // namespace StorageDevices
