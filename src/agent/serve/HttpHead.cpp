#include "agent/serve/HttpHead.h"

#include <boost/beast/http/basic_parser.hpp>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "agent/serve/HttpRefusal.h"

namespace Agent {

namespace {

namespace http = boost::beast::http;
using boost::beast::error_code;
using boost::beast::string_view;

std::string text(string_view view) {
   return {view.data(), view.size()};
}

// Collects the relevant fields of a head. No served request has a body, so the callbacks for it do nothing.
class HeadParser final : public http::basic_parser<true> {
 public:
   explicit HeadParser(HttpHead & head) : head_{head} {
      header_limit(HttpHeadReader::mostBytes);
      body_limit(boost::none);
      skip(true);
   }

   bool hasLength() const { return measured_; }
   bool hasCoding() const { return coded_; }

 private:
   void on_request_impl(http::verb, string_view method, string_view target, int version,
                        error_code &) override {
      constexpr int oldVersion = 10;
      head_.method = text(method);
      head_.target = text(target);
      head_.isOld = version == oldVersion;
   }
   void on_field_impl(http::field field, string_view name, string_view value, error_code & error) override {
      if (++fields_ > HttpHeadReader::mostFields)
         error = http::error::header_limit;
      if (field == http::field::transfer_encoding)
         coded_ = true;
      // Beast accepts two equal lengths.
      if (field == http::field::content_length &&
          (std::exchange(measured_, true) || value.find(',') != string_view::npos))
         error = http::error::bad_value;
      if (field == http::field::host) {
         ++head_.hosts;
         head_.host = text(value);
      }
      if (boost::beast::iequals(name, "Last-Event-ID"))
         head_.lastEventId = text(value);
   }
   void on_response_impl(int, string_view, int, error_code &) override {}
   void on_header_impl(error_code &) override {}
   void on_body_init_impl(boost::optional<std::uint64_t> const &, error_code &) override {}
   std::size_t on_body_impl(string_view, error_code &) override { return 0; }
   void on_chunk_header_impl(std::uint64_t, string_view, error_code &) override {}
   std::size_t on_chunk_body_impl(std::uint64_t, string_view, error_code &) override { return 0; }
   void on_finish_impl(error_code &) override {}

   HttpHead & head_;
   unsigned fields_ = 0;
   bool coded_ = false;
   bool measured_ = false;
};

constexpr char malformed[] = "the head of the request is malformed\n";
constexpr char tooManyFields[] = "the head of the request is too long or has too many fields\n";

// Whether the value of the field at the beginning of the text is a number.
bool isNumber(std::string_view text) {
   constexpr std::string_view digits = "0123456789";
   std::string_view const line = text.substr(0, text.find("\r\n"));
   std::string_view const value = line.substr(std::min(line.size(), line.find(':') + 1));
   std::string_view const number = value.substr(std::min(value.size(), value.find_first_of(digits)));
   return !number.empty() && value.find_first_not_of("0123456789 \t") == std::string_view::npos;
}

// `rest` begins with the text that could not be parsed.
HttpRefusal refusalOf(error_code const & error, std::string_view rest, HeadParser const & parser) {
   if (error == http::error::header_limit)
      return {431, tooManyFields};
   bool const isOnlyOne = !parser.hasLength() && !parser.hasCoding();
   if (error == http::error::bad_content_length && isOnlyOne && isNumber(rest))
      return {413, "the body of the request is too long\n"};
   return {400, malformed};
}

HttpHead parsed(std::string_view bytes) {
   HttpHead head;
   HeadParser parser{head};
   error_code error;
   std::size_t const count = parser.put(boost::asio::const_buffer{bytes.data(), bytes.size()}, error);
   if (error)
      throw refusalOf(error, bytes.substr(count), parser);
   if (parser.hasLength() && parser.hasCoding())
      throw HttpRefusal{400, "the body of the request has a length and a coding\n"};
   return head;
}

}  // namespace

bool HttpHeadReader::take(std::string_view bytes) {
   for (char const byte : bytes) {
      if (scan(byte)) {
         head_ = parsed(std::exchange(bytes_, {}));
         return true;
      }
   }
   return false;
}

// Answers whether the byte ends the head.
bool HttpHeadReader::scan(char byte) {
   char const before = bytes_.empty() ? '\0' : bytes_.back();
   bool const folds = before == '\n' && (byte == ' ' || byte == '\t');
   if (byte == '\0' || (byte == '\n' && before != '\r') || folds)
      throw HttpRefusal{400, malformed};
   if (bytes_.size() == mostBytes && bytes_.find('\n') == std::string::npos)
      throw HttpRefusal{414, "the target of the request is too long\n"};
   if (bytes_.size() == mostBytes)
      throw HttpRefusal{431, tooManyFields};
   bytes_ += byte;
   return byte == '\n' && bytes_.ends_with("\r\n\r\n");
}

}  // namespace Agent
