// Decides what a request is answered with.
#pragma once

#include <functional>
#include <optional>

#include "agent/HttpAddress.h"
#include "agent/HttpHead.h"
#include "agent/HttpRefusal.h"
#include "agent/HttpReply.h"
#include "agent/HttpTarget.h"

namespace Agent {

class HttpService {
 public:
   // May raise: std::bad_alloc is answered with 503, another exception with 500 and its text.
   using Handler = std::function<HttpAnswer(HttpRequest const &)>;

   // With an address, requests must name it, or this machine, as their host.
   HttpService(Handler handler, std::optional<HttpAddress> address);

   // Raises std::bad_alloc.
   HttpReply reply(HttpHead const & head) const;

 private:
   HttpAnswer answer(HttpHead const & head) const;
   HttpAnswer served(HttpHead const & head) const;

   Handler handler_;
   std::optional<HttpAddress> address_;
};

// What a refused request is answered with.
HttpAnswer answerOf(HttpRefusal const & refusal);

}  // namespace Agent
