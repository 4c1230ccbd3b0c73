// What real kernels said, rewritten and read by the library's expressions.
#include <gtest/gtest.h>

#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "agent/kernel/KernelLineRewrite.h"
#include "tests/StorageDevices/DataFiles.h"
#include "tests/support/KernelLineOracle.h"

namespace {

namespace TestData = StorageDevices::TestData;
using Support::deviceByExpressions;

// As the forwarder writes them: some were recorded with their priority.
std::vector<std::string> corpusLines() {
   std::vector<std::string> lines;
   std::istringstream stream;
   for (auto const & file : TestData::corpusFiles("kernel-lines"))
      if (file.filename() == "lines-a.txt")
         stream.str(TestData::contentOf(file));
   for (std::string line; std::getline(stream, line);) {
      if (line.starts_with('<'))
         line.erase(0, line.find('>') + 1);
      lines.push_back("kernel: " + line);
   }
   return lines;
}

constexpr std::size_t lineCount = 752;

std::map<std::size_t, std::string> verdicts() {
   std::ifstream stream{TEST_DATA_DIR "/kernel-lines/verdicts-a.txt"};
   std::map<std::size_t, std::string> result;
   for (std::string line; std::getline(stream, line);) {
      if (line.starts_with('#'))
         continue;
      auto const number = std::stoul(line);
      std::string const device = line.substr(line.find(' ') + 1);
      EXPECT_TRUE(number >= 1 && number <= lineCount && !device.empty()) << line;
      EXPECT_TRUE(result.emplace(number, device).second) << "twice: " << line;
   }
   return result;
}

TEST(KernelLineCorpusTest, NamesTheDeviceOfEveryErrorAndOfNothingElse) {
   SKIP_WITHOUT_CORPUS();
   auto const lines = corpusLines();
   auto const expected = verdicts();
   ASSERT_EQ(lines.size(), lineCount);
   ASSERT_GT(expected.size(), 190U);
   std::size_t right = 0;
   std::size_t rightBefore = 0;
   std::size_t namedBefore = 0;
   for (std::size_t number = 1; number <= lines.size(); ++number) {
      std::string const & line = lines[number - 1];
      auto const verdict = expected.find(number);
      std::string const device = verdict == expected.end() ? "" : verdict->second;
      std::string const before = deviceByExpressions(line);
      std::string const after = deviceByExpressions(Agent::rewriteKernelLine(line));
      if (verdict == expected.end()) {
         EXPECT_EQ(after, "") << number << ": " << line;
      } else if (after != device) {
         std::cout << number << " names " << device << ", read as '" << after << "': " << line << "\n";
      }
      right += !device.empty() && after == device ? 1 : 0;
      rightBefore += !device.empty() && before == device ? 1 : 0;
      namedBefore += !before.empty() ? 1 : 0;
   }
   EXPECT_EQ(namedBefore, 115U);
   EXPECT_EQ(right, expected.size());
   std::cout << "errors: " << expected.size() << ", named by the expressions alone: " << namedBefore
             << ", of these rightly: " << rightBefore << ", rightly after rewriting: " << right << "\n";
}

TEST(KernelLineCorpusTest, KeepsTheWordsOfLinesThatNameNoDevice) {
   SKIP_WITHOUT_CORPUS();
   auto const lines = corpusLines();
   auto const expected = verdicts();
   for (std::size_t number = 1; number <= lines.size(); ++number)
      if (std::string const & line = lines[number - 1]; expected.count(number) == 0) {
         bool const isRead = !deviceByExpressions(line).empty();
         EXPECT_EQ(Agent::rewriteKernelLine(line), isRead ? "kernel:_" + line.substr(8) : line);
      }
}

}  // namespace
