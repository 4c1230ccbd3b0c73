#include "agent/Http.h"

#include <fcntl.h>
#include <microhttpd.h>
#include <sys/socket.h>

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

// A client that does nothing, or too much, costs no more than this.
constexpr unsigned maxConnections = 64;
constexpr unsigned idleSeconds = 5;
// What an exchange may take while all places are taken: clients that trickle keep nobody out for long.
constexpr double crowdedSeconds = 0.5;
constexpr std::size_t connectionMemory = 32768;

MHD_Result send(MHD_Connection * connection, HttpAnswer const & answer, char const * allow = nullptr) {
   // The library copies the body and never writes to it, whatever its parameter's type says.
   MHD_Response * const response = MHD_create_response_from_buffer(
       answer.body.size(), const_cast<char *>(answer.body.data()), MHD_RESPMEM_MUST_COPY);
   if (!response)
      return MHD_NO;
   MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, answer.contentType.c_str());
   MHD_add_response_header(response, MHD_HTTP_HEADER_CACHE_CONTROL, "no-store");
   if (allow)
      MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, allow);
   MHD_Result const result = MHD_queue_response(connection, answer.status, response);
   MHD_destroy_response(response);
   return result;
}

}  // namespace

class HttpServer::Daemon {
 public:
   Daemon(ListenSocket socket, Handler handler);
   Daemon(Daemon const &) = delete;
   Daemon & operator=(Daemon const &) = delete;
   ~Daemon();

 private:
   static MHD_Result answer(void * self, MHD_Connection * connection, char const * url, char const * method,
                            char const * version, char const * upload, std::size_t * uploadSize,
                            void ** state);
   MHD_Result answer(MHD_Connection * connection, std::string_view method, char const * url) const;
   static void handleConnection(void * self, MHD_Connection * connection, void ** state,
                                MHD_ConnectionNotificationCode code);
   bool full() const { return connections_.size() >= maxConnections; }
   void makeRoom();
   Vorn::Seconds nextRun() const;
   void run();

   ListenSocket socket_;
   Handler handler_;
   MHD_Daemon * daemon_ = nullptr;
   // Since when, real seconds. Each is for one exchange.
   std::map<MHD_Connection *, double> connections_;
   Pelm::Ptr<Vorn::FileDescriptor> epoll_ = Pelm::make<Vorn::FileDescriptor>("http");
   Vorn::Clock::Notifiee<&Daemon::run> timeoutClock_{*this, Vorn::Seconds::infinity()};
   Vorn::NotifieeConst epollReactor_;
};

HttpServer::Daemon::Daemon(ListenSocket socket, Handler handler)
    : socket_{std::move(socket)}, handler_{std::move(handler)} {
   // The daemon closes the descriptor that it is given; the socket keeps its own.
   int const listening = fcntl(socket_.fd(), F_DUPFD_CLOEXEC, 0);
   daemon_ =
       MHD_start_daemon(MHD_USE_EPOLL, 0, nullptr, nullptr, &Daemon::answer, this, MHD_OPTION_LISTEN_SOCKET,
                        listening, MHD_OPTION_CONNECTION_LIMIT, maxConnections, MHD_OPTION_CONNECTION_TIMEOUT,
                        idleSeconds, MHD_OPTION_CONNECTION_MEMORY_LIMIT, connectionMemory,
                        MHD_OPTION_NOTIFY_CONNECTION, &Daemon::handleConnection, this, MHD_OPTION_END);
   MHD_DaemonInfo const * const info =
       daemon_ ? MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD) : nullptr;
   if (!info)
      throw SocketError{"cannot start the HTTP server"};
   epoll_->descriptorIs(info->epoll_fd);
   epollReactor_.notifierIs(epoll_);
   epollReactor_.on<&Daemon::run>(epoll_->readableCount, *this);
   epollReactor_.hasNotificationActiveIs(true);
   epoll_->notifyOnReadableIs(true);
}

HttpServer::Daemon::~Daemon() {
   epoll_->descriptorIs(-1);
   if (daemon_)
      MHD_stop_daemon(daemon_);
}

void HttpServer::Daemon::handleConnection(void * self, MHD_Connection * connection, void **,
                                          MHD_ConnectionNotificationCode code) {
   auto & connections = static_cast<Daemon *>(self)->connections_;
   if (code == MHD_CONNECTION_NOTIFY_STARTED)
      connections[connection] = Host::monotonicSeconds();
   else
      connections.erase(connection);
}

void HttpServer::Daemon::makeRoom() {
   double const now = Host::monotonicSeconds();
   for (auto const & [connection, since] : connections_) {
      MHD_ConnectionInfo const * const info =
          MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
      if (info && now - since >= crowdedSeconds)
         shutdown(info->connect_fd, SHUT_RDWR);
   }
}

Vorn::Seconds HttpServer::Daemon::nextRun() const {
   double wait = Vorn::Seconds::infinity().value();
   MHD_UNSIGNED_LONG_LONG milliseconds = 0;
   if (MHD_get_timeout(daemon_, &milliseconds) == MHD_YES)
      wait = static_cast<double>(milliseconds) * 1e-3;
   if (full())
      for (auto const & [connection, since] : connections_)
         wait = std::min(wait, std::max(0.0, since + crowdedSeconds - Host::monotonicSeconds()));
   if (wait == Vorn::Seconds::infinity().value())
      return Vorn::Seconds::infinity();
   return Vorn::System::currentTime() + Host::timeSource().spanOf(wait);
}

void HttpServer::Daemon::run() {
   if (full())
      makeRoom();
   std::size_t const before = connections_.size();
   MHD_run(daemon_);
   // A full daemon does not listen, and listens again only in the run after the one in which a client left.
   if (connections_.size() < before)
      MHD_run(daemon_);
   timeoutClock_.timeMinIs(nextRun());
}

MHD_Result HttpServer::Daemon::answer(void * self, MHD_Connection * connection, char const * url,
                                      char const * method, char const *, char const *,
                                      std::size_t * uploadSize, void **) {
   // Nothing that is asked here has a body; one that comes is not read.
   *uploadSize = 0;
   return static_cast<Daemon *>(self)->answer(connection, method, url);
}

MHD_Result HttpServer::Daemon::answer(MHD_Connection * connection, std::string_view method,
                                      char const * url) const {
   if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD)
      return send(connection,
                  {MHD_HTTP_METHOD_NOT_ALLOWED, "text/plain", "only GET and HEAD are served here\n"},
                  "GET, HEAD");
   try {
      return send(connection, handler_({url, [connection](char const * name) {
                                           return MHD_lookup_connection_value(connection,
                                                                              MHD_GET_ARGUMENT_KIND, name);
                                        }}));
   } catch (std::exception const & error) {  // into C code nothing may be thrown
      return send(connection,
                  {MHD_HTTP_INTERNAL_SERVER_ERROR, "text/plain", std::string{error.what()} + "\n"});
   }
}

HttpServer::HttpServer(ListenSocket socket, Handler handler)
    : daemon_{std::make_unique<Daemon>(std::move(socket), std::move(handler))} {}

HttpServer::~HttpServer() = default;

}  // namespace Agent
