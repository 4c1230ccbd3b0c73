#include "agent/page/PageFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "tests/support/TempDir.h"

namespace Agent {
namespace {

namespace fs = std::filesystem;

std::string const web = TEST_DATA_DIR "/../../web";

TEST(PageFilesTest, AnswersEveryFileOfThePageAsItIs) {
   std::set<std::string> expected{"/dygraphs/dygraph.min.css", "/dygraphs/dygraph.min.js"};
   for (auto const & entry : fs::directory_iterator{web}) {
      std::string const path = "/" + entry.path().filename().string();
      expected.insert(path);
      PageFile const * const file = pageFile(path);
      ASSERT_NE(file, nullptr) << path;
      EXPECT_EQ(file->text, Support::fileContent(entry.path())) << path;
   }
   std::set<std::string> paths;
   for (PageFile const & file : pageFiles())
      paths.emplace(file.path);
   EXPECT_EQ(paths, expected);
}

TEST(PageFilesTest, CarriesTheLibraryOfThePlotsWithItsLicence) {
   std::string_view const library = pageFile("/dygraphs/dygraph.min.js")->text;
   EXPECT_GT(library.size(), 100000U);
   EXPECT_TRUE(library.starts_with("/*! @license"));
   EXPECT_NE(pageFile("/dygraphs/dygraph.min.css")->text.find(".dygraph-"), std::string_view::npos);
}

TEST(PageFilesTest, AnswersThePageItselfAtTheRoot) {
   ASSERT_NE(pageFile("/"), nullptr);
   EXPECT_EQ(pageFile("/"), pageFile("/index.html"));
   EXPECT_TRUE(pageFile("/")->text.starts_with("<!doctype html>"));
}

TEST(PageFilesTest, KnowsNoOtherPath) {
   for (char const * const path : {"", "//", "/main", "/main.js/", "/MAIN.JS", "main.js", "/../web/main.js",
                                   "/dygraphs", "/dygraphs/", "/dygraphs/dygraph.js"})
      EXPECT_EQ(pageFile(path), nullptr) << path;
}

TEST(PageFilesTest, KnowsTheTypeOfEveryFile) {
   for (PageFile const & file : pageFiles())
      EXPECT_STRNE(contentType(file.path), "") << file.path;
   EXPECT_STREQ(contentType(pageFile("/")->path), "text/html; charset=utf-8");
   EXPECT_STREQ(contentType("/main.js"), "text/javascript; charset=utf-8");
   EXPECT_STREQ(contentType("/style.css"), "text/css; charset=utf-8");
   EXPECT_STREQ(contentType("/favicon.svg"), "image/svg+xml");
   EXPECT_STREQ(contentType("/unknown.xyz"), "");
}

}  // namespace
}  // namespace Agent
