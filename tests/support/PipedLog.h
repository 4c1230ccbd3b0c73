// The agent's log on a standard error that is a pipe.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "agent/logs/AgentLog.h"
#include "agent/logs/StderrSink.h"
#include "tests/support/RealTime.h"

namespace Support {

class PipedLog {
 public:
   PipedLog() {
      EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
      log = std::make_unique<Agent::AgentLog>(std::make_unique<Agent::StderrSink>(ends[1]));
   }
   PipedLog(PipedLog const &) = delete;
   PipedLog & operator=(PipedLog const &) = delete;
   ~PipedLog() {
      log.reset();
      close(ends[0]);
      close(ends[1]);
   }

   // All that was logged since the last call.
   std::string written() const {
      std::string text;
      bool isWhole = false;
      auto const step = [&] {
         isWhole = log->flush(std::chrono::milliseconds{20});
         std::array<char, 65536> buffer{};
         for (ssize_t count = 0; (count = read(ends[0], buffer.data(), buffer.size())) > 0;)
            text.append(buffer.data(), static_cast<std::size_t>(count));
      };
      EXPECT_TRUE(waitInRealTime([&] { return isWhole; }, step));
      return text;
   }

   std::array<int, 2> ends{};
   std::unique_ptr<Agent::AgentLog> log;
};

}  // namespace Support
