#include "agent/logs/StderrSink.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "agent/logs/LogForms.h"

namespace Agent {

StderrSink::StderrSink(int fd) : fd_{fd} {}

char const * StderrSink::name() const {
   return "standard error";
}

std::string StderrSink::formOf(LogEntry const & entry) const {
   return stderrLine(entry);
}

LogSink::Outcome StderrSink::send(std::string_view line) {
   ssize_t const sent = ::send(fd_, line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
   if (sent >= 0 || errno != ENOTSOCK)
      return outcomeOf(sent, line);
   // What is ready accepts a whole line without blocking.
   pollfd ready{fd_, POLLOUT, 0};
   if (poll(&ready, 1, 0) != 1)
      return Outcome::full;
   return outcomeOf(write(fd_, line.data(), line.size()), line);
}

LogSink::Outcome StderrSink::outcomeOf(ssize_t sent, std::string_view line) {
   if (sent >= 0)
      return sent == static_cast<ssize_t>(line.size()) ? Outcome::sent : Outcome::refused;
   error_ = errno;
   return error_ == EAGAIN || error_ == EINTR ? Outcome::full : Outcome::absent;
}

std::string StderrSink::absence() const {
   return std::generic_category().message(error_);
}

}  // namespace Agent
