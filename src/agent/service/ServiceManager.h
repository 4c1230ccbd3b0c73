// Telling the service manager (systemd, or whoever reads the socket that it names) how the agent is. Without
// one, what is told goes nowhere.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Agent {

class ServiceManager {
 public:
   // As the variables NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID say.
   ServiceManager();
   ServiceManager(ServiceManager const &) = delete;
   ServiceManager & operator=(ServiceManager const &) = delete;
   ~ServiceManager();

   // One state, as "READY=1". Any thread; never waits, what the other side has no room for is lost.
   void tell(std::string_view state) const;

   // Seconds of silence after which it takes the agent for dead; nothing: it does not watch this process.
   std::optional<double> patience() const { return patience_; }

 private:
   int socket_ = -1;
   std::string address_;  // as the kernel wants it: an abstract name begins with NUL
   std::optional<double> patience_;
};

}  // namespace Agent
