// Chooses the answer to a request.
#pragma once

#include <functional>
#include <optional>

#include "agent/serve/HttpHead.h"
#include "agent/serve/HttpRefusal.h"
#include "agent/serve/HttpReply.h"
#include "agent/serve/HttpTarget.h"
#include "base/HttpAddress.h"

namespace Agent {

class HttpService {
 public:
   // May raise: std::bad_alloc is answered with 503, another exception with 500 and its text.
   using Handler = std::function<HttpAnswer(HttpRequest const &)>;

   // With an address, requests must name it, or this machine, as their host.
   HttpService(Handler handler, std::optional<Base::HttpAddress> address);

   // May raise std::bad_alloc.
   HttpReply reply(HttpHead const & head) const;

 private:
   HttpAnswer answer(HttpHead const & head) const;
   HttpAnswer served(HttpHead const & head) const;

   Handler handler_;
   std::optional<Base::HttpAddress> address_;
};

// The answer to a refused request.
HttpAnswer answerOf(HttpRefusal const & refusal);

}  // namespace Agent
