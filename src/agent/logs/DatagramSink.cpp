#include "agent/logs/DatagramSink.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace Agent {

DatagramSink::DatagramSink(char const * name, std::string path, LogForm form)
    : name_{name}, path_{std::move(path)}, form_{form}, address_{path_} {}

LogSink::Outcome DatagramSink::send(std::string_view line) {
   if (!socket_ && !connect())
      return Outcome::absent;
   if (Outcome const outcome = sendConnected(line); outcome != Outcome::absent)
      return outcome;
   // The collector has ended. Its successor may be there already.
   return connect() ? sendConnected(line) : Outcome::absent;
}

bool DatagramSink::connect() {
   socket_.reset(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
   if (socket_ && ::connect(socket_.get(), address_.get(), address_.size()) == 0)
      return true;
   error_ = errno;
   socket_.reset();
   return false;
}

LogSink::Outcome DatagramSink::sendConnected(std::string_view line) {
   ssize_t sent = 0;
   do
      sent = ::send(socket_.get(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
   while (sent < 0 && errno == EINTR);
   if (sent >= 0)
      return Outcome::sent;
   error_ = errno;
   if (error_ == EAGAIN)
      return Outcome::full;
   return error_ == EMSGSIZE ? Outcome::refused : Outcome::absent;
}

std::string DatagramSink::absence() const {
   return path_ + ": " + std::generic_category().message(error_);
}

}  // namespace Agent
