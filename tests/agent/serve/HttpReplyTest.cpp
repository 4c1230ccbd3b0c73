#include "agent/serve/HttpReply.h"
#include "tests/support/Regex.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

namespace Agent {
namespace {

class FixedPieces final : public Document {
 public:
   explicit FixedPieces(std::vector<std::string> pieces) : pieces_{std::move(pieces)} {}
   std::string_view next() override { return at_ == pieces_.size() ? std::string_view{} : pieces_[at_++]; }

 private:
   std::vector<std::string> pieces_;
   std::size_t at_ = 0;
};

HttpAnswer documentOf(std::vector<std::string> pieces) {
   return {200, "text/x-test", {}, std::make_unique<FixedPieces>(std::move(pieces))};
}

// The whole reply, read in parts of so many bytes.
std::string textOf(HttpReply reply, std::size_t step = SIZE_MAX) {
   std::string text;
   for (std::string_view next = reply.front(); !next.empty(); next = reply.front()) {
      text += next.substr(0, step);
      reply.taken(std::min(step, next.size()));
   }
   return text;
}

std::string bodyOf(std::string const & text) {
   return text.substr(text.find("\r\n\r\n") + 4);
}

TEST(HttpReplyTest, HasAHeadThatClientsUnderstand) {
   std::string const text = textOf({HttpAnswer{404, "text/plain", "none\n"}, false, false});
   EXPECT_FALSE(
       Support::Regex{"HTTP/1\\.1 404 Not Found\r\n"
                      "Date: [A-Z][a-z]{2}, [0-9]{2} [A-Z][a-z]{2} 20[0-9]{2} "
                      "[0-9:]{8} GMT\r\n"
                      "Content-Type: text/plain\r\n"
                      "Cache-Control: no-store\r\n"
                      "Connection: close\r\n"
                      "X-Content-Type-Options: nosniff\r\n"
                      "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; "
                      "img-src 'self'; connect-src 'self'; base-uri 'none'; form-action 'none'; "
                      "frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types default\r\n"
                      "Content-Length: 5\r\n\r\n"
                      "none\n"}
           .matchWhole(text)
           .empty())
       << text;
}

TEST(HttpReplyTest, NamesTheReasonOfEachStatus) {
   for (auto const & [status, reason] :
        std::vector<std::pair<unsigned, std::string>>{{200, "OK"},
                                                      {400, "Bad Request"},
                                                      {405, "Method Not Allowed"},
                                                      {414, "URI Too Long"},
                                                      {421, "Misdirected Request"},
                                                      {431, "Request Header Fields Too Large"},
                                                      {500, "Internal Server Error"},
                                                      {503, "Service Unavailable"}})
      EXPECT_TRUE(textOf({HttpAnswer{status, "x", ""}, false, false})
                      .starts_with("HTTP/1.1 " + std::to_string(status) + " " + reason + "\r\n"));
}

TEST(HttpReplyTest, SendsPiecesInChunks) {
   EXPECT_EQ(bodyOf(textOf({documentOf({"one", "twenty bytes of text"}), false, false})),
             "3\r\none\r\n14\r\ntwenty bytes of text\r\n0\r\n\r\n");
   EXPECT_EQ(bodyOf(textOf({documentOf({"one", "two"}), false, true})), "onetwo");
}

TEST(HttpReplyTest, SendsTheSameInWhateverPartsItIsRead) {
   std::string const piece(3 * HttpReply::blockBytes + 5, 'x');
   for (bool const isOld : {false, true}) {
      std::string const whole = bodyOf(textOf({documentOf({piece, "y"}), false, isOld}));
      for (std::size_t const step : {1, 7, 4096})
         EXPECT_TRUE(bodyOf(textOf({documentOf({piece, "y"}), false, isOld}, step)) == whole) << step;
   }
   EXPECT_TRUE(bodyOf(textOf({HttpAnswer{200, "x", piece}, false, false}, 1000)) == piece);
}

TEST(HttpReplyTest, OffersNoMoreThanABlockAtATime) {
   HttpReply reply{HttpAnswer{200, "x", std::string(100000, 'x')}, false, false};
   for (std::string_view next = reply.front(); !next.empty(); next = reply.front()) {
      EXPECT_LE(next.size(), HttpReply::blockBytes + 768);
      reply.taken(next.size());
   }
}

TEST(HttpReplyTest, CountsBodiesAndPiecesThatWait) {
   std::string const half(mostQueuedBytes / 2, 'x');
   auto first = std::make_unique<HttpReply>(HttpAnswer{200, "x", half}, false, false);
   auto second = std::make_unique<HttpReply>(documentOf({half}), false, false);
   HttpReply const small{documentOf({"of what the first blocks have left"}), false, false};
   EXPECT_THROW((HttpReply{documentOf({half}), false, false}), std::bad_alloc);
   EXPECT_THROW((HttpReply{HttpAnswer{200, "x", half}, false, false}), std::bad_alloc);
   first.reset();
   HttpReply const third{documentOf({half}), false, false};
   second.reset();
   HttpReply const fourth{HttpAnswer{200, "x", half}, false, false};
}

TEST(HttpReplyTest, SendsATextOfTheProgramWithItsLengthAndCountsNoneOfIt) {
   std::string const text(mostQueuedBytes, 'x');
   HttpReply const first{HttpAnswer{.constant = text}, false, false};
   std::string const whole = textOf({HttpAnswer{.contentType = "x", .constant = text}, false, false});
   EXPECT_NE(whole.find("Content-Length: " + std::to_string(text.size()) + "\r\n"), std::string::npos);
   EXPECT_TRUE(bodyOf(whole) == text);
   std::string const head = textOf({HttpAnswer{.contentType = "x", .constant = text}, true, false});
   EXPECT_EQ(head.size(), whole.size() - text.size());
}

TEST(HttpReplyTest, SendsOnlyTheLengthForAHeadRequest) {
   std::string const text = textOf({HttpAnswer{200, "x", "12345"}, true, false});
   EXPECT_NE(text.find("Content-Length: 5\r\n"), std::string::npos);
   EXPECT_EQ(bodyOf(text), "");
}

}  // namespace
}  // namespace Agent
