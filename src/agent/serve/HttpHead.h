// Reads the head of an HTTP request from untrusted bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Agent {

struct HttpHead {
   std::string method;
   std::string target;       // as it was sent
   bool isOld = false;       // HTTP/1.0, which has no chunked coding
   unsigned hosts = 0;       // the number of Host fields
   std::string host;         // the value of the last of them
   std::string lastEventId;  // of the last field of that name
};

// Reads a request in pieces, up to the end of its head. Accepts only lines that end with CR LF, none folded,
// without NUL bytes: programs read other heads differently, which allows request smuggling.
class HttpHeadReader {
 public:
   static constexpr std::size_t mostBytes = 16384;
   static constexpr unsigned mostFields = 100;

   // Reads the bytes that follow those of the previous calls; ignores bytes behind the head. True when the
   // head is complete. Raises HttpRefusal with 400, 413, 414 or 431 as soon as the request cannot be served.
   bool take(std::string_view bytes);

   // Valid when the head is complete.
   HttpHead const & head() const { return head_; }

 private:
   bool scan(char byte);

   std::string bytes_;
   HttpHead head_;
};

}  // namespace Agent
