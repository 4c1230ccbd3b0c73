#include "agent/service/ServiceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>

#include "base/Number.h"

namespace Agent {

namespace {

std::string_view environment(char const * name) {
   char const * const value = std::getenv(name);
   return value ? value : "";
}

std::optional<double> watchdogPatience() {
   std::string_view const pid = environment("WATCHDOG_PID");
   if (!pid.empty() && Base::parseWhole<std::int64_t>(pid) != getpid())
      return std::nullopt;
   auto const microseconds = Base::parseWhole<std::int64_t>(environment("WATCHDOG_USEC"));
   return microseconds > 0 ? std::optional{static_cast<double>(*microseconds) * 1e-6} : std::nullopt;
}

}  // namespace

ServiceManager::ServiceManager() : address_{environment("NOTIFY_SOCKET")} {
   if (!address_.starts_with('/') && !address_.starts_with('@'))
      return;
   if (address_.size() >= sizeof sockaddr_un{}.sun_path)
      return;
   if (address_.front() == '@')
      address_.front() = '\0';
   socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
   if (socket_ >= 0)
      patience_ = watchdogPatience();
}

ServiceManager::~ServiceManager() {
   if (socket_ >= 0)
      close(socket_);
}

void ServiceManager::notify(std::string_view state) const {
   if (socket_ < 0)
      return;
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   address_.copy(address.sun_path, address_.size());
   auto const size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size());
   sendto(socket_, state.data(), state.size(), MSG_NOSIGNAL, reinterpret_cast<sockaddr const *>(&address),
          size);
}

}  // namespace Agent
