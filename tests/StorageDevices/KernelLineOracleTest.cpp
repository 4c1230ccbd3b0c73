// The readers of kernel lines against the expressions that they stand for, by std::regex.
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "DataFiles.h"
#include "RandomKernelLines.h"
#include "StorageDevices/KernelLine.h"
#include "StorageDevices/KernelLinePatterns.h"
#include "tests/support/RandomSeed.h"
#include "tests/support/Regex.h"

namespace StorageDevices {
namespace {

#ifdef STORAGEDEVICES_SANITIZED
constexpr std::size_t lineCount = 50'000;
#else
constexpr std::size_t lineCount = 1'000'000;
#endif

constexpr std::string_view literalStart = "kernel: [";

struct Answer {
   std::size_t pattern = kernelLinePatterns.size();  // that many: none matches
   std::optional<std::string_view> device;
};

std::vector<Support::Regex> const & expressions() {
   static std::vector<Support::Regex> const compiled = [] {
      std::vector<Support::Regex> all;
      all.reserve(kernelLinePatterns.size());
      for (auto const & pattern : kernelLinePatterns)
         all.emplace_back(pattern.expression);
      return all;
   }();
   return compiled;
}

Answer answerByRegex(std::string const & line) {
   for (std::size_t pattern = 0; pattern < expressions().size(); ++pattern)
      if (auto const match = expressions()[pattern].search(line.c_str()); !match.empty())
         return {pattern, match[1]};
   return {};
}

// The same in a tenth of the time. A search can only succeed where the text stands that all expressions begin
// with, and tries those places from left to right. So do we, and spare std::regex all other places.
Answer answerByRegexAtStarts(std::string const & line) {
   std::string_view const text(line.c_str());
   for (std::size_t pattern = 0; pattern < expressions().size(); ++pattern)
      for (auto at = text.find(literalStart); at != text.npos; at = text.find(literalStart, at + 1))
         if (auto const match = expressions()[pattern].matchStart(text.substr(at)); !match.empty())
            return {pattern, match[1]};
   return {};
}

TEST(KernelLineOracleTest, FindsTheSamePlainBeginningInAllExpressions) {
   for (auto const & pattern : kernelLinePatterns) {
      std::string_view const expression(pattern.expression);
      EXPECT_TRUE(expression.starts_with(R"(kernel: \[\s*\d)")) << expression;
      // No alternative stands outside parentheses, so none begins in another way.
      int depth = 0;
      for (std::size_t i = 0; i < expression.size(); ++i) {
         if (expression[i] == '\\')
            ++i;
         else if (expression[i] == '(' || expression[i] == ')')
            depth += expression[i] == '(' ? 1 : -1;
         else
            EXPECT_TRUE(expression[i] != '|' || depth > 0) << expression;
      }
      EXPECT_EQ(depth, 0) << expression;
   }
}

TEST(KernelLineOracleTest, MatchesTheExpressionsOnRandomLines) {
   RandomKernelLines lines(Support::randomSeed(20'240'611));
   std::array<std::size_t, kernelLinePatterns.size() + 1> counts{};
   for (std::size_t i = 0; i < lineCount; ++i) {
      std::string const line = lines.next();
      Answer const expected = answerByRegexAtStarts(line);
      ASSERT_EQ(deviceInKernelLine(line), expected.device) << testing::PrintToString(line);
      if (i % 50 == 0) {
         ASSERT_EQ(answerByRegex(line).device, expected.device) << testing::PrintToString(line);
      }
      ++counts[expected.pattern];
   }
   for (std::size_t const count : counts)
      EXPECT_GE(count, lineCount / 40) << testing::PrintToString(counts);
}

// Many stamps and lines in one text, each of which an earlier search may have passed.
TEST(KernelLineOracleTest, MatchesTheExpressionsOnLongLines) {
   RandomKernelLines lines(Support::randomSeed(1'024));
   std::size_t found = 0;
   for (std::size_t i = 0; i < lineCount / 100; ++i) {
      std::string line;
      while (line.size() < 1'024) {
         std::string const part = lines.next();
         line += part.substr(0, part.find('\0'));
      }
      line.resize(1'024);
      Answer const expected = answerByRegexAtStarts(line);
      ASSERT_EQ(deviceInKernelLine(line), expected.device) << testing::PrintToString(line);
      found += expected.device ? 1 : 0;
   }
   EXPECT_GT(found, lineCount / 200);
}

TEST(KernelLineOracleTest, MatchesTheExpressionsOnLinesOfRealKernels) {
   SKIP_WITHOUT_CORPUS();
   std::size_t found = 0;
   for (auto const & file : TestData::corpusFiles("kernel-lines")) {
      std::istringstream content(TestData::contentOf(file));
      for (std::string line; std::getline(content, line);) {
         line = "kernel: " + line.substr(0, 500);
         auto const expected = answerByRegex(line).device;
         EXPECT_EQ(deviceInKernelLine(line), expected) << line;
         found += expected ? 1 : 0;
      }
   }
   EXPECT_GT(found, 100U);
}

}  // namespace
}  // namespace StorageDevices
