#include "agent/serve/HttpTarget.h"

#include <gtest/gtest.h>

#include <string>

#include "agent/serve/HttpRefusal.h"

namespace Agent {
namespace {

unsigned targetRefusal(std::string const & target) {
   try {
      requestOf(target);
      return 0;
   } catch (HttpRefusal const & refusal) {
      return refusal.status;
   }
}

TEST(HttpTargetTest, DecodesThePath) {
   EXPECT_EQ(requestOf("/").path, "/");
   EXPECT_EQ(requestOf("/a%20b%2Fc?d").path, "/a b/c");
   EXPECT_EQ(requestOf("/a+b").path, "/a+b");
   EXPECT_EQ(requestOf("//a/../b").path, "//a/../b");
}

TEST(HttpTargetTest, LeavesBadEscapes) {
   for (char const * const path : {"/%", "/%4", "/%zz", "/%4z", "/%+4", "/%-4", "/%%", "/x%00y", "/%00%41"})
      EXPECT_EQ(requestOf(path).path, path);
   EXPECT_EQ(requestOf("/%2541").path, "/%41");
}

TEST(HttpTargetTest, FindsTheFirstArgumentOfAName) {
   HttpRequest const request = requestOf("/x?a=1&b%20c=%41+d&a=2&e=&=f&g==h?i");
   EXPECT_STREQ(request.argument("a"), "1");
   EXPECT_STREQ(request.argument("b c"), "A d");
   EXPECT_STREQ(request.argument("e"), "");
   EXPECT_STREQ(request.argument(""), "f");
   EXPECT_STREQ(request.argument("g"), "=h?i");
   EXPECT_EQ(request.argument("c"), nullptr);
}

TEST(HttpTargetTest, OmitsArgumentsWithoutAValue) {
   EXPECT_EQ(requestOf("/x?a").argument("a"), nullptr);
   EXPECT_STREQ(requestOf("/x?a&&a=1&").argument("a"), "1");
   EXPECT_TRUE(requestOf("/x?").arguments.empty());
}

TEST(HttpTargetTest, BoundsTheArguments) {
   std::string target = "/x?a=1";
   for (std::size_t i = 1; i < mostArguments; ++i)
      target += "&a=1";
   EXPECT_EQ(requestOf(target).arguments.size(), mostArguments);
   EXPECT_EQ(targetRefusal(target + "&"), 414U);
}

TEST(HttpTargetTest, RefusesTextThatIsNoPath) {
   for (char const * const target : {"http://x/y", "*", "x:1", "?a=b", ""})
      EXPECT_EQ(targetRefusal(target), 400U) << target;
}

}  // namespace
}  // namespace Agent
