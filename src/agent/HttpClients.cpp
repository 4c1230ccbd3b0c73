#include "agent/HttpClients.h"

#include <microhttpd.h>
#include <sys/socket.h>

#include <algorithm>

#include "runtime/host/TimeSource.h"

namespace Agent {

HttpClients::Client * HttpClients::add(MHD_Connection * connection) {
   auto const free = std::find_if(clients_.begin(), clients_.end(),
                                  [](Client const & client) { return client.connection == nullptr; });
   if (free == clients_.end())
      return nullptr;
   *free = {connection, Host::monotonicSeconds()};
   ++count_;
   return &*free;
}

void HttpClients::progressed(Client & client) {
   client.progress = Host::monotonicSeconds();
}

void HttpClients::remove(Client & client) {
   count_ -= client.leaving ? 0 : 1;
   client = {};
}

bool HttpClients::shutOldest() {
   Client * oldest = nullptr;
   for (Client & client : clients_)
      if (client.connection && !client.leaving && (!oldest || client.progress < oldest->progress))
         oldest = &client;
   if (!oldest)
      return false;
   MHD_ConnectionInfo const * const info =
       MHD_get_connection_info(oldest->connection, MHD_CONNECTION_INFO_CONNECTION_FD);
   if (info)
      shutdown(info->connect_fd, SHUT_RDWR);
   oldest->leaving = true;
   --count_;
   return true;
}

}  // namespace Agent
