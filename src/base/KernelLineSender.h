// Sends lines to the Unix datagram socket on which kernel messages are read.
#pragma once

#include <string>

#include "base/UniqueFd.h"
#include "base/UnixAddress.h"

namespace Base {

// Never blocks. A receiver may appear and disappear between two lines.
class KernelLineSender {
 public:
   enum class Outcome {
      sent,
      full,    // the receiver's buffer has no room: try again
      dropped  // there is no receiver, or the line cannot be sent
   };

   explicit KernelLineSender(std::string const & socketPath);

   Outcome send(std::string const & line) const;

 private:
   UnixAddress address_;
   UniqueFd fd_;
};

}  // namespace Base
