#include "agent/Http.h"

#include <microhttpd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

#include "agent/HttpClients.h"
#include "agent/HttpReply.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

// A client that does nothing, or too much, costs no more than this.
constexpr unsigned idleSeconds = 5;
constexpr std::size_t connectionMemory = 16384;  // bytes; a request has no more

// What a turn of the loop takes of those that wait.
constexpr int acceptsPerTurn = 16;
// How long nobody is let in while descriptors or memory are scarce, real seconds.
constexpr double scarcityPause = 0.1;
// Descriptors that clients leave to the loop: its tools, files and events.
constexpr rlim_t mostReserved = 256;

bool isScarcity(int error) {
   return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// Whether so many descriptors are open that the loop may soon need the next ones itself. The kernel gives out
// the lowest number that is free, so a number says how many are in use.
bool isReserved(int fd) {
   rlimit limit{};
   if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
      return false;
   return static_cast<rlim_t>(fd) >= limit.rlim_cur - std::min(limit.rlim_cur / 3, mostReserved);
}

// A NUL byte would end the text before its end: a text that has one stays as it was sent.
std::size_t unescape(void *, MHD_Connection *, char * text) {
   return std::strstr(text, "%00") ? std::strlen(text) : MHD_http_unescape(text);
}

}  // namespace

class HttpServer::Daemon {
 public:
   Daemon(ListenSocket socket, Handler handler, HttpOptions options);
   Daemon(Daemon const &) = delete;
   Daemon & operator=(Daemon const &) = delete;
   ~Daemon();

   void acceptingIs(bool accepting) { listening_->notifyOnReadableIs(accepting); }

 private:
   static MHD_Result answer(void * self, MHD_Connection * connection, char const * url, char const * method,
                            char const * version, char const * upload, std::size_t * uploadSize,
                            void ** state);
   MHD_Result answer(MHD_Connection * connection, std::string_view method, char const * url) const;
   MHD_Result served(MHD_Connection * connection, char const * url, bool headOnly) const;
   bool isForUs(MHD_Connection * connection) const;
   static HttpClients::Client * clientOf(MHD_Connection * connection);
   static void * limitArguments(void * self, char const * uri, MHD_Connection * connection);
   static void handleConnection(void * self, MHD_Connection * connection, void ** client,
                                MHD_ConnectionNotificationCode code);

   void startDaemon();
   void watch(Vorn::FileDescriptor & descriptor, int fd);
   void handleWaiting();
   bool acceptOne();
   void pause(int error);
   void resume() { acceptingIs(true); }
   Vorn::Seconds nextRun() const;
   void run();

   ListenSocket socket_;
   Handler handler_;
   HttpOptions options_;
   ReadyReply noMemory_{MHD_HTTP_SERVICE_UNAVAILABLE,
                        "the agent has no memory for this answer; ask again later\n"};
   ReadyReply wrongHost_{MHD_HTTP_MISDIRECTED_REQUEST,
                         "the Host of the request is neither this machine nor the address that is served\n"};
   HttpClients clients_;
   MHD_Daemon * daemon_ = nullptr;
   bool toldScarcity_ = false;
   Pelm::Ptr<Vorn::FileDescriptor> listening_ = Pelm::make<Vorn::FileDescriptor>("http listening");
   Pelm::Ptr<Vorn::FileDescriptor> epoll_ = Pelm::make<Vorn::FileDescriptor>("http");
   Vorn::Clock::Notifiee<&Daemon::run> timeoutClock_{*this, Vorn::Seconds::infinity()};
   Vorn::Clock::Notifiee<&Daemon::resume> pauseClock_{*this, Vorn::Seconds::infinity()};
   Vorn::NotifieeConst listeningReactor_;
   Vorn::NotifieeConst epollReactor_;
};

HttpServer::Daemon::Daemon(ListenSocket socket, Handler handler, HttpOptions options)
    : socket_{std::move(socket)}, handler_{std::move(handler)}, options_{std::move(options)} {
   startDaemon();
   MHD_DaemonInfo const * const info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_EPOLL_FD);
   epollReactor_.notifierIs(epoll_);
   epollReactor_.on<&Daemon::run>(epoll_->readableCount, *this);
   epollReactor_.hasNotificationActiveIs(true);
   watch(*epoll_, info->epoll_fd);
   listeningReactor_.notifierIs(listening_);
   listeningReactor_.on<&Daemon::handleWaiting>(listening_->readableCount, *this);
   listeningReactor_.hasNotificationActiveIs(true);
   watch(*listening_, socket_.fd());
}

HttpServer::Daemon::~Daemon() {
   listening_->descriptorIs(-1);
   epoll_->descriptorIs(-1);
   MHD_stop_daemon(daemon_);
}

void HttpServer::Daemon::startDaemon() {
   // It does not accept: whom to let in, and who goes for it, is decided here.
   daemon_ = MHD_start_daemon(MHD_USE_EPOLL | MHD_USE_NO_LISTEN_SOCKET, 0, nullptr, nullptr, &Daemon::answer,
                              this, MHD_OPTION_CONNECTION_LIMIT, unsigned{HttpClients::connections},
                              MHD_OPTION_CONNECTION_TIMEOUT, idleSeconds, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                              connectionMemory, MHD_OPTION_NOTIFY_CONNECTION, &Daemon::handleConnection, this,
                              MHD_OPTION_URI_LOG_CALLBACK, &Daemon::limitArguments, this,
                              MHD_OPTION_UNESCAPE_CALLBACK, &unescape, nullptr, MHD_OPTION_END);
   if (!daemon_)
      throw SocketError{std::string{"cannot start the HTTP server: "} +
                        std::generic_category().message(errno)};
}

void HttpServer::Daemon::watch(Vorn::FileDescriptor & descriptor, int fd) {
   descriptor.descriptorIs(fd);
   descriptor.notifyOnReadableIs(true);
}

HttpClients::Client * HttpServer::Daemon::clientOf(MHD_Connection * connection) {
   MHD_ConnectionInfo const * const info =
       MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
   return info ? static_cast<HttpClients::Client *>(info->socket_context) : nullptr;
}

void HttpServer::Daemon::handleConnection(void * self, MHD_Connection * connection, void ** client,
                                          MHD_ConnectionNotificationCode code) {
   auto & clients = static_cast<Daemon *>(self)->clients_;
   if (code == MHD_CONNECTION_NOTIFY_STARTED)
      *client = clients.add(connection);
   else if (*client)
      clients.remove(*static_cast<HttpClients::Client *>(*client));
}

// The library has no room for many arguments, and waits for ever instead of saying so.
void * HttpServer::Daemon::limitArguments(void *, char const * uri, MHD_Connection * connection) {
   constexpr std::ptrdiff_t mostArguments = 100;
   constexpr std::string_view refusal =
       "HTTP/1.1 414 URI Too Long\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";
   std::string_view const text{uri};
   MHD_ConnectionInfo const * const info =
       MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
   if (info && std::count(text.begin(), text.end(), '&') >= mostArguments) {
      send(info->connect_fd, refusal.data(), refusal.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      shutdown(info->connect_fd, SHUT_RDWR);
   }
   return nullptr;
}

void HttpServer::Daemon::handleWaiting() {
   for (int accepts = 0; accepts < acceptsPerTurn && acceptOne(); ++accepts)
      continue;
   run();
}

// False when nobody waits or nobody can be let in now.
bool HttpServer::Daemon::acceptOne() {
   sockaddr_storage address{};
   socklen_t size = sizeof address;
   auto * const generic = reinterpret_cast<sockaddr *>(&address);
   int const fd = accept4(socket_.fd(), generic, &size, SOCK_CLOEXEC | SOCK_NONBLOCK);
   if (fd < 0) {
      if (isScarcity(errno))
         pause(errno);
      return errno == ECONNABORTED || errno == EINTR;
   }
   if (clients_.count() >= HttpClients::places || isReserved(fd)) {
      if (clients_.shutOldest())
         MHD_run(daemon_);
   }
   MHD_add_connection(daemon_, fd, generic, size);
   return true;
}

void HttpServer::Daemon::pause(int error) {
   if (clients_.shutOldest())
      run();
   if (!std::exchange(toldScarcity_, true))
      options_.notice("status: a client cannot be let in: " + std::generic_category().message(error) +
                      "; raise the limit of open files (LimitNOFILE) or of memory");
   acceptingIs(false);
   pauseClock_.timeMinIs(Vorn::System::currentTime() + Host::timeSource().spanOf(scarcityPause));
}

Vorn::Seconds HttpServer::Daemon::nextRun() const {
   MHD_UNSIGNED_LONG_LONG milliseconds = 0;
   if (MHD_get_timeout(daemon_, &milliseconds) != MHD_YES)
      return Vorn::Seconds::infinity();
   return Vorn::System::currentTime() + Host::timeSource().spanOf(static_cast<double>(milliseconds) * 1e-3);
}

void HttpServer::Daemon::run() {
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
   try {
      if (options_.address && !isForUs(connection))
         return wrongHost_.send(connection);
      if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD)
         return replyMethodNotAllowed(connection);
      return served(connection, url, method == MHD_HTTP_METHOD_HEAD);
   } catch (...) {  // into C code nothing may be thrown
      return noMemory_.send(connection);
   }
}

MHD_Result HttpServer::Daemon::served(MHD_Connection * connection, char const * url, bool headOnly) const {
   HttpClients::Client & client = *clientOf(connection);
   HttpClients::progressed(client);
   auto const argument = [connection](char const * name) {
      return MHD_lookup_connection_value(connection, MHD_GET_ARGUMENT_KIND, name);
   };
   try {
      return reply(connection, client, handler_({url, argument}), headOnly);
   } catch (std::bad_alloc const &) {
      throw;
   } catch (std::exception const & error) {
      return reply(connection, client,
                   {MHD_HTTP_INTERNAL_SERVER_ERROR, "text/plain", std::string{error.what()} + "\n"},
                   headOnly);
   }
}

bool HttpServer::Daemon::isForUs(MHD_Connection * connection) const {
   struct Hosts {
      std::size_t count = 0;
      char const * value = nullptr;
   } hosts;
   auto const take = [](void * into, MHD_ValueKind, char const * name, char const * value) {
      if (strcasecmp(name, MHD_HTTP_HEADER_HOST) == 0) {
         ++static_cast<Hosts *>(into)->count;
         static_cast<Hosts *>(into)->value = value;
      }
      return MHD_YES;
   };
   MHD_get_connection_values(connection, MHD_HEADER_KIND, take, &hosts);
   return hosts.count == 1 && hosts.value && options_.address->isNamedBy(hosts.value);
}

HttpServer::HttpServer(ListenSocket socket, Handler handler, HttpOptions options)
    : daemon_{std::make_unique<Daemon>(std::move(socket), std::move(handler), std::move(options))} {}

HttpServer::~HttpServer() = default;

void HttpServer::acceptingIs(bool accepting) {
   daemon_->acceptingIs(accepting);
}

}  // namespace Agent
