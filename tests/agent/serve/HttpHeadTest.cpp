#include "agent/serve/HttpHead.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "agent/serve/HttpRefusal.h"

namespace Agent {
namespace {

using namespace std::literals;

std::string requestWith(std::string const & fields, std::string const & line = "GET /x HTTP/1.1") {
   return line + "\r\nHost: here\r\n" + fields + "\r\n";
}

// The head once it is complete; the status of a refusal in `status`.
std::optional<HttpHead> headOf(std::string_view text, unsigned & status, std::size_t step = SIZE_MAX) {
   HttpHeadReader reader;
   status = 0;
   try {
      for (std::size_t at = 0; at < text.size(); at += std::min(step, text.size() - at))
         if (reader.take(text.substr(at, step)))
            return reader.head();
   } catch (HttpRefusal const & refusal) {
      status = refusal.status;
   }
   return std::nullopt;
}

unsigned refusalOf(std::string_view text) {
   unsigned status = 0;
   return headOf(text, status) ? 200 : status;
}

TEST(HttpHeadTest, ReadsMethodTargetVersionAndHost) {
   unsigned status = 0;
   auto const head = headOf(requestWith("", "HEAD /a%20b?c=d HTTP/1.0"), status);
   ASSERT_TRUE(head);
   EXPECT_EQ(head->method, "HEAD");
   EXPECT_EQ(head->target, "/a%20b?c=d");
   EXPECT_TRUE(head->isOld);
   EXPECT_EQ(head->hosts, 1U);
   EXPECT_EQ(head->host, "here");
}

TEST(HttpHeadTest, CountsTheHosts) {
   unsigned status = 0;
   EXPECT_EQ(headOf("GET / HTTP/1.1\r\n\r\n", status)->hosts, 0U);
   auto const head = headOf(requestWith("HOST: there\r\n"), status);
   EXPECT_EQ(head->hosts, 2U);
   EXPECT_EQ(head->host, "there");
   EXPECT_FALSE(head->isOld);
}

TEST(HttpHeadTest, ReadsTheLastEventOfAStreamsReader) {
   unsigned status = 0;
   EXPECT_EQ(headOf(requestWith("last-event-id:  17 \r\n"), status)->lastEventId, "17");
   EXPECT_EQ(headOf(requestWith("Last-Event-ID: 1\r\nLast-Event-ID: x\r\n"), status)->lastEventId, "x");
   EXPECT_EQ(headOf(requestWith("Last-Event-ID:\r\nLast-Event: 1\r\n"), status)->lastEventId, "");
}

TEST(HttpHeadTest, ReadsTheSameInWhateverPartsItArrives) {
   for (std::size_t const step : {1, 2, 3, 7, 1000}) {
      unsigned status = 0;
      auto const head = headOf(requestWith("Accept: */*\r\n") + "the rest", status, step);
      ASSERT_TRUE(head) << step;
      EXPECT_EQ(head->target, "/x") << step;
      EXPECT_EQ(head->host, "here") << step;
   }
}

TEST(HttpHeadTest, WaitsForItsEnd) {
   std::string const whole = requestWith("");
   EXPECT_EQ(refusalOf(whole), 200U);
   EXPECT_EQ(refusalOf(whole.substr(0, whole.size() - 1)), 0U);
}

TEST(HttpHeadTest, RefusesLinesThatProgramsReadDifferently) {
   EXPECT_EQ(refusalOf("GET /x HTTP/1.1\n"), 400U);
   EXPECT_EQ(refusalOf(requestWith("A: b\nC: d\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("A: b\rC: d\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("A: b\r\n folded\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("A: b\r\n\tfolded\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("A : b\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith(": b\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("no colon\r\n")), 400U);
}

TEST(HttpHeadTest, RefusesNulBytesAtOnce) {
   EXPECT_EQ(refusalOf("GET /x\0"sv), 400U);
   EXPECT_EQ(refusalOf(requestWith("A: b\0c\r\n"s)), 400U);
   EXPECT_EQ(refusalOf("\0"sv), 400U);
}

TEST(HttpHeadTest, RefusesOtherFirstLines) {
   for (char const * const line : {"GET /x HTTP/2.0", "GET /x HTTP/0.9", "GET /x", "GET  /x HTTP/1.1",
                                   "GET /x y HTTP/1.1", " GET /x HTTP/1.1", "GET /x HTTP/1.1 ", "/x HTTP/1.1",
                                   "GET /x http/1.1", "G@T /x HTTP/1.1", "GET /\x7f HTTP/1.1"})
      EXPECT_EQ(refusalOf(requestWith("", line)), 400U) << line;
   EXPECT_EQ(refusalOf("\r\nGET /x HTTP/1.1\r\n\r\n"), 400U);
}

TEST(HttpHeadTest, RefusesLengthsThatAreNoNumbers) {
   for (char const * const length : {"-5", "+5", "5x", "0x5", "abc", "", "5, 5", "5,6"})
      EXPECT_EQ(refusalOf(requestWith("Content-Length: "s + length + "\r\n")), 400U) << length;
   EXPECT_EQ(refusalOf(requestWith("Content-Length: 5\r\nContent-Length: 5\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("Content-Length: 5\r\nContent-Length: 6\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("Content-Length: 5\r\nContent-Length: 99999999999999999999\r\n")), 400U);
}

TEST(HttpHeadTest, RefusesLengthsBeyondAllBounds) {
   for (char const * const length : {"99999999999999999999999999", " 18446744073709551616 \t"})
      EXPECT_EQ(refusalOf(requestWith("Content-Length:"s + length + "\r\n")), 413U) << length;
   EXPECT_EQ(refusalOf(requestWith("Content-Length: 18446744073709551614\r\n")), 200U);
}

TEST(HttpHeadTest, RefusesALengthBesideACoding) {
   EXPECT_EQ(refusalOf(requestWith("Content-Length: 5\r\nTransfer-Encoding: chunked\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("Transfer-Encoding: chunked\r\nContent-Length: 5\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("Transfer-Encoding: gzip\r\nContent-Length: 5\r\n")), 400U);
   EXPECT_EQ(refusalOf(requestWith("Transfer-Encoding: chunked\r\n")), 200U);
}

TEST(HttpHeadTest, BoundsItsFields) {
   std::string fields;
   for (unsigned i = 1; i < HttpHeadReader::mostFields; ++i)
      fields += "A: b\r\n";
   EXPECT_EQ(refusalOf(requestWith(fields)), 200U);
   EXPECT_EQ(refusalOf(requestWith(fields + "A: b\r\n")), 431U);
}

TEST(HttpHeadTest, BoundsItsLength) {
   std::size_t const rest = HttpHeadReader::mostBytes - requestWith("A: \r\n").size();
   EXPECT_EQ(refusalOf(requestWith("A: " + std::string(rest, 'b') + "\r\n")), 200U);
   EXPECT_EQ(refusalOf(requestWith("A: " + std::string(rest + 1, 'b') + "\r\n")), 431U);
   EXPECT_EQ(refusalOf(std::string(HttpHeadReader::mostBytes, 'x')), 0U);
   EXPECT_EQ(refusalOf(std::string(HttpHeadReader::mostBytes + 1, 'x')), 414U);
}

}  // namespace
}  // namespace Agent
