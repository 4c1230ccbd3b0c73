// Sends lines to the Unix datagram socket on which kernel messages are read.
#pragma once

#include <sys/un.h>

#include <cstdint>
#include <string>

namespace Agent {

// Never blocks. A receiver may appear and disappear between two lines.
class KernelLineSender {
 public:
   enum class Outcome {
      sent,
      full,    // the receiver's buffer has no room: try again
      dropped  // there is no receiver, or the line cannot be sent
   };

   explicit KernelLineSender(std::string const & socketPath);
   KernelLineSender(KernelLineSender const &) = delete;
   KernelLineSender & operator=(KernelLineSender const &) = delete;
   ~KernelLineSender();

   Outcome send(std::string const & line) const;

 private:
   int fd_;
   sockaddr_un address_{};
};

}  // namespace Agent
