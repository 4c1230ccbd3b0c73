// Standard error as the agent's log writes it, kept in a pipe.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "agent/logs/StderrLog.h"

namespace Support {

class PipedLog {
 public:
   PipedLog() {
      EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
      log = std::make_unique<Agent::StderrLog>(ends[1]);
   }
   PipedLog(PipedLog const &) = delete;
   PipedLog & operator=(PipedLog const &) = delete;
   ~PipedLog() {
      log.reset();
      close(ends[0]);
      close(ends[1]);
   }

   // The text written since the last call.
   std::string written() const {
      std::string text;
      std::array<char, 65536> buffer{};
      for (ssize_t count = 0; (count = read(ends[0], buffer.data(), buffer.size())) > 0;)
         text.append(buffer.data(), static_cast<std::size_t>(count));
      return text;
   }

   std::array<int, 2> ends{};
   std::unique_ptr<Agent::StderrLog> log;
};

}  // namespace Support
