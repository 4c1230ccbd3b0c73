#include "agent/serve/HttpReply.h"

#include <boost/beast/http/status.hpp>

#include <array>
#include <charconv>
#include <ctime>
#include <new>
#include <utility>

namespace Agent {

namespace {

namespace http = boost::beast::http;

std::size_t queuedByAll = 0;

// A document of known text.
class WholeText final : public Document {
 public:
   explicit WholeText(std::string text) : text_{std::move(text)} {}

   std::string_view next() override { return std::exchange(taken_, true) ? std::string_view{} : text_; }

 private:
   std::string text_;
   bool taken_ = false;
};

// A text of the program, which needs no memory to wait in.
class ConstantText final : public Document {
 public:
   explicit ConstantText(std::string_view text) : rest_{text} {}

   std::string_view next() override {
      std::string_view const part = rest_.substr(0, HttpReply::blockBytes);
      rest_.remove_prefix(part.size());
      return part;
   }

 private:
   std::string_view rest_;
};

std::unique_ptr<Document> documentOf(HttpAnswer & answer) {
   if (!answer.constant.empty())
      return std::make_unique<ConstantText>(answer.constant);
   return answer.document ? std::move(answer.document) : std::make_unique<WholeText>(std::move(answer.body));
}

// In the form of RFC 9110: "Sun, 22 Nov 2026 06:11:15 GMT".
std::string dateText() {
   std::time_t const now = std::time(nullptr);
   std::tm time{};
   std::array<char, 64> text{};
   gmtime_r(&now, &time);
   return {text.data(), std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &time)};
}

std::string statusLine(unsigned status) {
   auto const reason = http::obsolete_reason(http::int_to_status(status));
   return "HTTP/1.1 " + std::to_string(status) + " " + std::string{reason.data(), reason.size()} + "\r\n";
}

// What a browser may do with an answer, were it markup: load what is served here, and nothing else. A text
// becomes markup only through the page's own policy.
constexpr char browserRules[] =
    "X-Content-Type-Options: nosniff\r\n"
    "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; "
    "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
    "require-trusted-types-for 'script'; trusted-types default\r\n";

// The field by which the client finds the end of the body. A document of unknown length is chunked, or ends
// with the connection.
std::string lengthField(HttpAnswer const & answer, bool chunked) {
   std::size_t const size = answer.constant.empty() ? answer.body.size() : answer.constant.size();
   if (!answer.document)
      return "Content-Length: " + std::to_string(size) + "\r\n";
   return chunked ? "Transfer-Encoding: chunked\r\n" : "";
}

std::string headOf(HttpAnswer const & answer, bool chunked) {
   constexpr unsigned methodNotAllowed = 405;
   return statusLine(answer.status) + "Date: " + dateText() + "\r\nContent-Type: " + answer.contentType +
          "\r\nCache-Control: no-store\r\nConnection: close\r\n" + browserRules +
          (answer.status == methodNotAllowed ? "Allow: GET, HEAD\r\n" : "") + lengthField(answer, chunked) +
          "\r\n";
}

std::string chunkLine(std::size_t size) {
   std::array<char, 32> text{};
   auto const end = std::to_chars(text.data(), text.data() + text.size(), size, 16).ptr;
   return std::string{text.data(), end} + "\r\n";
}

}  // namespace

QueuedBytes::QueuedBytes(QueuedBytes && other) noexcept : count_{std::exchange(other.count_, 0)} {}

QueuedBytes & QueuedBytes::operator=(QueuedBytes && other) noexcept {
   std::swap(count_, other.count_);
   return *this;
}

QueuedBytes::~QueuedBytes() {
   queuedByAll -= count_;
}

void QueuedBytes::countIs(std::size_t count) {
   if (count > mostQueuedBytes - (queuedByAll - count_))
      throw std::bad_alloc{};
   queuedByAll += count - count_;
   count_ = count;
}

HttpReply::HttpReply(HttpAnswer answer, bool headOnly, bool isOld)
    : chunked_{answer.document != nullptr && !isOld} {
   constexpr std::size_t usualHead = 768;
   block_.reserve(blockBytes + usualHead);
   block_ += headOf(answer, chunked_);
   document_ = documentOf(answer);
   nextPiece();  // where memory ends, nothing is sent yet
   if (headOnly)
      document_.reset();
   else
      addBlock();
}

std::string_view HttpReply::front() {
   if (sent_ == block_.size() && document_) {
      block_.clear();
      sent_ = 0;
      if (piece_.empty())
         nextPiece();
      addBlock();
   }
   return std::string_view{block_}.substr(sent_);
}

bool HttpReply::restsUntil(std::function<void()> const & more) {
   if (!document_)
      return false;
   std::string{}.swap(block_);
   sent_ = 0;
   document_->whenMoreIs(more);
   return true;
}

void HttpReply::nextPiece() {
   queued_.countIs(0);
   piece_ = document_->next();
   queued_.countIs(piece_.size());
}

// The piece's next part, or the end of the body; nothing at a pause.
void HttpReply::addBlock() {
   std::string_view const part = piece_.substr(0, blockBytes);
   if (part.empty() && document_->pauses())
      return;
   if (chunked_)
      block_ += chunkLine(part.size());
   block_ += part;
   if (chunked_)
      block_ += "\r\n";
   piece_.remove_prefix(part.size());
   queued_.countIs(piece_.size());
   if (part.empty())
      document_.reset();
}

}  // namespace Agent
