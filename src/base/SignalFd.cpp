#include "base/SignalFd.h"

#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Base {

SignalFd::SignalFd(std::initializer_list<int> signals) {
   sigemptyset(&signals_);
   for (int const signal : signals)
      sigaddset(&signals_, signal);
   pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
   fd_.reset(signalfd(-1, &signals_, SFD_CLOEXEC | SFD_NONBLOCK));
   if (!fd_)
      throw std::system_error{errno, std::generic_category(), "signalfd"};
}

SignalFd::~SignalFd() {
   while (next())
      continue;
   pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr);
}

std::optional<signalfd_siginfo> SignalFd::next() const {
   signalfd_siginfo info{};
   if (read(fd_.get(), &info, sizeof info) != static_cast<ssize_t>(sizeof info))
      return std::nullopt;
   return info;
}

}  // namespace Base
