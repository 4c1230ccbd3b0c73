// Notifies the service manager (systemd, or another reader of the socket in NOTIFY_SOCKET) of the agent's
// state. Without a service manager a notification does nothing.
#pragma once

#include <optional>
#include <string_view>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"
#include "runtime/Vorn/Seconds.h"

namespace Agent {

class ServiceManager {
 public:
   // Reads the environment variables NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID.
   ServiceManager();

   // Sends one state, such as "READY=1". Any thread may call it. It never blocks: a state that does not fit
   // into the socket's buffer is lost.
   void notify(std::string_view state) const;

   // The real time without a keep-alive after which the manager regards the agent as dead; empty: it does not
   // watch this process.
   std::optional<Vorn::Seconds> patience() const { return patience_; }

 private:
   Base::UniqueFd socket_;
   std::optional<Base::UnixAddress> address_;
   std::optional<Vorn::Seconds> patience_;
};

}  // namespace Agent
