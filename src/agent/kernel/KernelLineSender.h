// Sends lines to the Unix datagram socket on which kernel messages are read.
#pragma once

#include <sys/un.h>

#include <cstdint>
#include <string>

namespace Agent {

// Never waits. A receiver that is not there now may be there for the next line.
class KernelLineSender {
 public:
   enum class Outcome {
      sent,
      full,    // the receiver has not read what it has: to be tried again
      dropped  // nobody is there, or the line cannot be sent
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
