#include "agent/Signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

#include "runtime/host/Loop.h"

namespace Agent {

namespace {

sigset_t terminationSet() {
   sigset_t set;
   sigemptyset(&set);
   sigaddset(&set, SIGTERM);
   sigaddset(&set, SIGINT);
   sigaddset(&set, SIGHUP);  // its terminal went: nothing must stay behind then either
   return set;
}

}  // namespace

TerminationSignals::TerminationSignals() {
   sigset_t const set = terminationSet();
   pthread_sigmask(SIG_BLOCK, &set, nullptr);
   std::signal(SIGPIPE, SIG_IGN);
   int const fd = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
   if (fd < 0)
      throw std::system_error{errno, std::generic_category(), "signalfd"};
   signals_->descriptorIs(fd);
   reactor_.notifierIs(signals_);
   reactor_.on<&TerminationSignals::handleSignal>(signals_->readableCount, *this);
   reactor_.hasNotificationActiveIs(true);
   signals_->notifyOnReadableIs(true);
}

TerminationSignals::~TerminationSignals() {
   int const fd = signals_->descriptor();
   signals_->descriptorIs(-1);
   // One that came while the agent was stopping already must not end it now by its default action.
   signalfd_siginfo late{};
   while (read(fd, &late, sizeof late) > 0)
      continue;
   close(fd);
   sigset_t const set = terminationSet();
   pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void TerminationSignals::handleSignal() {
   signalfd_siginfo info{};
   while (read(signals_->descriptor(), &info, sizeof info) == static_cast<ssize_t>(sizeof info))
      Host::stop();
}

}  // namespace Agent
