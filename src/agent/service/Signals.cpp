#include "agent/service/Signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "runtime/host/Loop.h"

namespace Agent {

namespace {

sigset_t controlSignals() {
   sigset_t set;
   sigemptyset(&set);
   for (int const signal : {SIGTERM, SIGINT, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGHUP})
      sigaddset(&set, signal);
   return set;
}

bool isIgnored(int signal) {
   struct sigaction action {};
   return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Signals::Signals(std::function<void()> reload)
    : reload_{std::move(reload)}, endsWithTerminal_{!isIgnored(SIGHUP)} {
   sigset_t const set = controlSignals();
   pthread_sigmask(SIG_BLOCK, &set, nullptr);
   std::signal(SIGPIPE, SIG_IGN);
   std::signal(SIGXFSZ, SIG_IGN);
   int const fd = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
   if (fd < 0)
      throw std::system_error{errno, std::generic_category(), "signalfd"};
   signals_->descriptorIs(fd);
   reactor_.notifierIs(signals_);
   reactor_.on<&Signals::handleSignal>(signals_->readableCount, *this);
   reactor_.hasNotificationActiveIs(true);
   signals_->notifyOnReadableIs(true);
}

Signals::~Signals() {
   int const fd = signals_->descriptor();
   signals_->descriptorIs(-1);
   // A signal that came while the agent stopped would otherwise end it by its default action.
   signalfd_siginfo late{};
   while (read(fd, &late, sizeof late) > 0)
      continue;
   close(fd);
   sigset_t const set = controlSignals();
   pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
}

void Signals::handleSignal() {
   signalfd_siginfo info{};
   while (read(signals_->descriptor(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
      // The SIGHUP of a closed terminal comes from the kernel, that of a reload from a process.
      bool const hungUp = info.ssi_code == SI_KERNEL && endsWithTerminal_;
      if (info.ssi_signo == SIGHUP && !hungUp)
         reload_();
      else
         Host::stop();
   }
}

}  // namespace Agent
