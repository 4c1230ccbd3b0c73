#pragma once

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <string_view>
#include <thread>

#include "base/UnixAddress.h"

// Sends lines as fast as they are accepted, from a thread of its own, until it is ended.
class Burst {
 public:
   Burst(std::string const & path, std::string error) : error_{std::move(error)} {
      Base::UnixAddress const address{path};
      connected_ = connect(fd_, address.get(), address.size()) == 0;
      timeval const patience{10, 0};
      setsockopt(fd_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
   }
   Burst(Burst const &) = delete;
   Burst & operator=(Burst const &) = delete;
   ~Burst() {
      end();
      close(fd_);
   }

   void start() {
      thread_ = std::jthread{[this](std::stop_token const & ended) {
         while (!ended.stop_requested() && isGoing())
            sayNext();
      }};
   }
   void end() {
      if (thread_.joinable()) {
         thread_.request_stop();
         thread_.join();
      }
   }
   // Waits until the socket has room for it.
   bool say(std::string_view text) const {
      return send(fd_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size());
   }

   // Until a line is not accepted.
   bool isGoing() const { return connected_; }
   unsigned lines() const { return lines_; }
   unsigned errors() const { return errors_; }

 private:
   static constexpr unsigned linesPerError = 20;

   void sayNext() {
      bool const isError = lines_ % linesPerError == 0;
      connected_ =
          say(isError ? error_ : "kernel: [   12.500000] usb 9-9: ordinary line " + std::to_string(lines_));
      if (!connected_)
         return;
      ++lines_;
      errors_ += isError ? 1 : 0;
   }

   std::string error_;
   int fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
   std::atomic<bool> connected_ = false;
   std::atomic<unsigned> lines_ = 0;
   std::atomic<unsigned> errors_ = 0;
   std::jthread thread_;
};
