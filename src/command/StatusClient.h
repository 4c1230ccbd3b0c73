// Asks the running agent over its Unix socket.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/UniqueFd.h"

namespace Command {

// The agent could not be asked. what() is one line that names the socket and says what to do.
class StatusError : public std::runtime_error {
 public:
   using std::runtime_error::runtime_error;
};

struct StatusLimits {
   std::size_t answer = std::size_t{64} << 20U;  // bytes of body
   std::chrono::milliseconds time{5000};         // for the whole exchange
};

// The body of the agent's answer to GET `resource`, such as "/api/v1/state". Anything but a complete
// answer with status 200 within the limits raises StatusError.
std::string askAgent(std::string const & socketPath, std::string const & resource,
                     StatusLimits const & limits = {});

// The process that answers on a socket.
struct AnsweringProcess {
   pid_t id = 0;               // as this process sees it; 0: in a container that it does not see into
   Base::UniqueFd handle{-1};  // a pidfd: never another process, though that may have the same number one day
};

struct AnswerOfProcess {
   std::string body;
   AnsweringProcess process;
};

// Like `askAgent`, with the process that answered. The handle is empty where there is none of it to be had.
AnswerOfProcess askAgentProcess(std::string const & socketPath, std::string const & resource);

// Passes the body to `take` part by part as it arrives, without a limit of its size. Raises StatusError like
// `askAgent`, and when nothing arrives for `wait`. By then `take` may have had some parts.
void streamFromAgent(std::string const & socketPath, std::string const & resource,
                     std::function<void(std::string_view part)> const & take,
                     std::chrono::milliseconds wait = std::chrono::seconds{5});

}  // namespace Command
