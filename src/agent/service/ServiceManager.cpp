#include "agent/service/ServiceManager.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "base/Number.h"

namespace Agent {

namespace {

std::string_view environment(char const * name) {
   char const * const value = std::getenv(name);
   return value ? value : "";
}

std::optional<Vorn::Seconds> watchdogPatience() {
   std::string_view const pid = environment("WATCHDOG_PID");
   if (!pid.empty() && Base::parseWhole<std::int64_t>(pid) != getpid())
      return std::nullopt;
   auto const microseconds = Base::parseWhole<std::int64_t>(environment("WATCHDOG_USEC"));
   return microseconds > 0 ? std::optional{Vorn::Seconds{static_cast<double>(*microseconds) * 1e-6}}
                           : std::nullopt;
}

}  // namespace

ServiceManager::ServiceManager() {
   std::string name{environment("NOTIFY_SOCKET")};
   bool const isAbstract = name.starts_with('@');
   if ((!isAbstract && !name.starts_with('/')) || name.size() > Base::UnixAddress::longestPath)
      return;
   if (isAbstract)
      name.front() = '\0';
   address_.emplace(name);
   socket_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
   if (socket_)
      patience_ = watchdogPatience();
}

void ServiceManager::notify(std::string_view state) const {
   if (socket_)
      sendto(socket_.get(), state.data(), state.size(), MSG_NOSIGNAL, address_->get(), address_->size());
}

}  // namespace Agent
