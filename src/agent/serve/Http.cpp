#include "agent/serve/Http.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>

#include "runtime/Vorn/Shortage.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

// Waiting clients that a turn of the loop accepts at most.
constexpr int acceptsPerTurn = 16;
// Real seconds for which no client is accepted during a shortage of descriptors or memory.
constexpr Vorn::Seconds scarcityPause = 0.1;
// Descriptors that clients leave to the loop's tools, files and events, at most.
constexpr rlim_t mostReserved = 256;

bool isScarcity(int error) {
   return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// Whether the descriptor is one of those reserved for the loop. The kernel assigns the lowest free number, so
// a number shows how many are in use.
bool isReserved(int fd) {
   rlimit limit{};
   if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
      return false;
   return static_cast<rlim_t>(fd) >= limit.rlim_cur - std::min(limit.rlim_cur / 3, mostReserved);
}

// A descriptor that is kept for a shortage.
Base::UniqueFd spareOf(ListenSocket const & socket) {
   return Base::UniqueFd{fcntl(socket.fd(), F_DUPFD_CLOEXEC, 0)};
}

}  // namespace

HttpServer::HttpServer(ListenSocket socket, Handler handler, HttpOptions options)
    : socket_{std::move(socket)},
      notice_{std::move(options.notice)},
      clients_{HttpService{std::move(handler), std::move(options.address)}},
      spare_{spareOf(socket_)} {
   listeningReactor_.notifierIs(listening_);
   listeningReactor_.on<&HttpServer::handleWaiting>(listening_->readableCount, *this);
   listeningReactor_.hasNotificationActiveIs(true);
   listening_->descriptorIs(socket_.fd());
   acceptingIs(true);
}

HttpServer::~HttpServer() {
   listening_->descriptorIs(-1);
}

void HttpServer::handleWaiting() {
   for (int accepts = 0; accepts < acceptsPerTurn && acceptOne(); ++accepts)
      continue;
}

void HttpServer::handlePauseOver() {
   if (!spare_)
      spare_ = spareOf(socket_);
   acceptingIs(true);
}

Base::UniqueFd HttpServer::accepted() const {
   return Base::UniqueFd{accept4(socket_.fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK)};
}

// False when no client waits or none can be accepted now.
bool HttpServer::acceptOne() {
   Base::UniqueFd client = accepted();
   int const error = errno;
   if (!client)
      return error == ECONNABORTED || error == EINTR || (isScarcity(error) && makeRoom(error));
   // The new client uses the place of the ended one, so the reserve stays.
   if (isReserved(client.get()) && clients_.endOldest())
      client.reset(fcntl(client.get(), F_DUPFD_CLOEXEC, 0));
   serve(client);
   return true;
}

void HttpServer::serve(Base::UniqueFd & client) {
   // No block waits for the acknowledgement of the previous one. Unix sockets have no such delay.
   int const on = 1;
   setsockopt(client.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
   try {
      clients_.add(client);
   } catch (std::exception const &) {
      refuseForMemory(client.get());
   }
}

// Answers whether another attempt may succeed at once.
bool HttpServer::makeRoom(int error) {
   if (!std::exchange(reportedScarcity_, true))
      notice_("status: a client cannot be accepted: " + Vorn::errorAndRemedy(error));
   if (clients_.endOldest() || refuseOne())
      return true;
   acceptingIs(false);
   pauseClock_.timeMinIs(Vorn::System::currentTime() + Vorn::Host::timeSource().spanOf(scarcityPause));
   return false;
}

// False when not even the spare descriptor can accept a client.
bool HttpServer::refuseOne() {
   spare_.reset();
   Base::UniqueFd client = accepted();
   bool const came{client};
   if (came)
      refuseForDescriptors(client.get());
   client.reset();
   spare_ = spareOf(socket_);
   return came;
}

}  // namespace Agent
