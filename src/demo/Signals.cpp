#include "demo/Signals.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace Agent::Demo {

Signals::Signals() {
   sigset_t set;
   sigemptyset(&set);
   for (int const number : {SIGINT, SIGTERM, SIGHUP})
      sigaddset(&set, number);
   sigprocmask(SIG_BLOCK, &set, nullptr);
   signal(SIGPIPE, SIG_IGN);
   descriptor_ = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
   if (descriptor_ < 0)
      throw std::system_error(errno, std::generic_category(), "signalfd");
}

Signals::~Signals() {
   close(descriptor_);
}

bool Signals::raised() {
   signalfd_siginfo information{};
   raised_ = raised_ || read(descriptor_, &information, sizeof information) > 0;
   return raised_;
}

}  // namespace Agent::Demo
