#include "agent/service/Signals.h"

#include <csignal>
#include <utility>

#include "runtime/host/Loop.h"

namespace Agent {

namespace {

bool isIgnored(int signal) {
   struct sigaction action {};
   return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

Signals::Signals(std::function<void()> reload)
    : reload_{std::move(reload)}, endsWithTerminal_{!isIgnored(SIGHUP)}, control_{SIGTERM, SIGINT,  SIGQUIT,
                                                                                  SIGUSR1, SIGUSR2, SIGALRM,
                                                                                  SIGHUP} {
   std::signal(SIGPIPE, SIG_IGN);
   std::signal(SIGXFSZ, SIG_IGN);
   signals_->descriptorIs(control_.get());
   reactor_.notifierIs(signals_);
   reactor_.on<&Signals::handleSignal>(signals_->readableCount, *this);
   reactor_.hasNotificationActiveIs(true);
   signals_->notifyOnReadableIs(true);
}

Signals::~Signals() {
   signals_->descriptorIs(-1);
}

void Signals::handleSignal() {
   while (auto const info = control_.next()) {
      // The SIGHUP of a closed terminal comes from the kernel, that of a reload from a process.
      bool const hungUp = info->ssi_code == SI_KERNEL && endsWithTerminal_;
      if (info->ssi_signo == SIGHUP && !hungUp)
         reload_();
      else
         Vorn::Host::stop();
   }
}

}  // namespace Agent
