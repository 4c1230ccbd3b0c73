// The head of an HTTP request, read from bytes that may be anybody's.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Agent {

struct HttpHead {
   std::string method;
   std::string target;  // as it was sent
   bool isOld = false;  // HTTP/1.0, which knows no chunks
   unsigned hosts = 0;  // how many fields named Host it has
   std::string host;    // the last of them
};

// Takes a request as it comes, up to the end of its head. Lines end with CR LF, none is folded, and no byte
// is NUL: where programs disagree about such heads, one of them is made to believe in a request that nobody
// sent.
class HttpHeadReader {
 public:
   static constexpr std::size_t mostBytes = 16384;
   static constexpr unsigned mostFields = 100;

   // The bytes that follow those of the calls before; whatever follows the head is left out. True when the
   // head is complete. Raises HttpRefusal, with 400, 413, 414 or 431, as soon as it can be none that is
   // served.
   bool take(std::string_view bytes);

   // Once it is complete.
   HttpHead const & head() const { return head_; }

 private:
   bool scan(char byte);

   std::string bytes_;
   HttpHead head_;
};

}  // namespace Agent
