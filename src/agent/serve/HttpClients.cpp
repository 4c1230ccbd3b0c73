#include "agent/serve/HttpClients.h"

#include <algorithm>
#include <utility>

namespace Agent {

HttpClients::HttpClients(HttpService service) : service_{std::move(service)} {
   connections_.reserve(places);
}

void HttpClients::add(Base::UniqueFd & socket) {
   if (connections_.size() == places)
      endOldest();
   connections_.push_back(std::make_unique<HttpConnection>(socket, service_, ended_));
   connections_.back()->start();
}

bool HttpClients::endOldest() {
   auto const oldest = std::min_element(
       connections_.begin(), connections_.end(),
       [](auto const & left, auto const & right) { return left->progress() < right->progress(); });
   if (oldest == connections_.end())
      return false;
   connections_.erase(oldest);
   return true;
}

void HttpClients::remove(HttpConnection const & connection) {
   std::erase_if(connections_, [&](auto const & other) { return other.get() == &connection; });
}

}  // namespace Agent
