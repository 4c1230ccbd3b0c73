#include "agent/serve/HttpService.h"

#include <exception>
#include <new>
#include <utility>

namespace Agent {

HttpAnswer answerOf(HttpRefusal const & refusal) {
   return {refusal.status, "text/plain", refusal.text};
}

HttpService::HttpService(Handler handler, std::optional<Base::HttpAddress> address)
    : handler_{std::move(handler)}, address_{std::move(address)} {}

HttpReply HttpService::reply(HttpHead const & head) const {
   return {answer(head), head.method == "HEAD", head.isOld};
}

HttpAnswer HttpService::answer(HttpHead const & head) const {
   try {
      return served(head);
   } catch (HttpRefusal const & refusal) {
      return answerOf(refusal);
   } catch (std::bad_alloc const &) {
      throw;
   } catch (std::exception const & error) {
      constexpr unsigned failed = 500;
      return {failed, "text/plain", std::string{error.what()} + "\n"};
   }
}

HttpAnswer HttpService::served(HttpHead const & head) const {
   if (address_ && !(head.hosts == 1 && address_->isNamedBy(head.host)))
      throw HttpRefusal{421,
                        "the Host of the request is neither this machine nor the address that is served\n"};
   if (head.method != "GET" && head.method != "HEAD")
      throw HttpRefusal{405, "only GET and HEAD are served here\n"};
   HttpRequest request = requestOf(head.target);
   request.lastEventId = head.lastEventId;
   return handler_(request);
}

}  // namespace Agent
