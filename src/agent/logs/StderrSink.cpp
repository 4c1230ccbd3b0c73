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
   if (line.data() != begun_.data() || line.size() != begun_.size())
      written_ = 0;
   begun_ = line;
   std::string_view const rest = line.substr(written_);
   ssize_t const sent = ::send(fd_, rest.data(), rest.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
   if (sent >= 0 || errno != ENOTSOCK)
      return outcomeOf(sent, rest.size());
   // What is ready accepts a whole line without blocking.
   pollfd ready{fd_, POLLOUT, 0};
   if (poll(&ready, 1, 0) != 1)
      return Outcome::full;
   return outcomeOf(write(fd_, rest.data(), rest.size()), rest.size());
}

// A disk that is full, or a socket, may take a part.
LogSink::Outcome StderrSink::outcomeOf(ssize_t sent, std::size_t size) {
   if (sent == static_cast<ssize_t>(size)) {
      begun_ = {};
      return Outcome::sent;
   }
   if (sent >= 0) {
      written_ += static_cast<std::size_t>(sent);
      return Outcome::full;
   }
   error_ = errno;
   return error_ == EAGAIN || error_ == EINTR ? Outcome::full : Outcome::absent;
}

std::string StderrSink::absence() const {
   return std::generic_category().message(error_);
}

}  // namespace Agent
