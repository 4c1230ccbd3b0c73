#include "agent/service/Watchdog.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <exception>
#include <system_error>

#include "runtime/Vorn/Seconds.h"
#include "runtime/host/Activity.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

// Blocks every signal; a thread that starts meanwhile inherits the mask.
class SignalsBlocked {
 public:
   SignalsBlocked() {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_SETMASK, &all, &before_);
   }
   SignalsBlocked(SignalsBlocked const &) = delete;
   SignalsBlocked & operator=(SignalsBlocked const &) = delete;
   ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

 private:
   sigset_t before_{};
};

// Answers 0 or an errno value. The stack is small: the usual one needs more address space than the whole
// agent.
int startThread(pthread_t & thread, void * (*function)(void *), void * argument) {
   constexpr std::size_t stackBytes = 262144;
   pthread_attr_t attributes;
   if (int const error = pthread_attr_init(&attributes); error != 0)
      return error;
   pthread_attr_setstacksize(&attributes, stackBytes);
   int const error = pthread_create(&thread, &attributes, function, argument);
   pthread_attr_destroy(&attributes);
   return error;
}

}  // namespace

Watchdog::Watchdog(StderrLog & log, ServiceManager const & manager)
    : log_{log}, manager_{manager}, stop_{eventfd(0, EFD_CLOEXEC)} {
   if (!stop_)
      throw std::system_error{errno, std::generic_category(), "eventfd"};
   SignalsBlocked const blocked;
   if (int const error = startThread(thread_, &Watchdog::runThread, this); error != 0)
      throw std::system_error{error, std::generic_category(), "no thread"};
}

Watchdog::~Watchdog() {
   eventfd_write(stop_.get(), 1);
   pthread_join(thread_, nullptr);
}

Stalls Watchdog::stalls() const {
   std::lock_guard const lock{mutex_};
   return watch_.stalls();
}

void * Watchdog::runThread(void * self) {
   static_cast<Watchdog *>(self)->run();
   return nullptr;
}

void Watchdog::run() {
   Vorn::Seconds const never = Vorn::Seconds::infinity();
   Vorn::Seconds const keepAlivePause = manager_.patience() ? *manager_.patience() / 4 : never;
   Vorn::Seconds nextSample;
   Vorn::Seconds nextKeepAlive = manager_.patience() ? Vorn::Seconds{} : never;
   Vorn::Seconds now;
   do {
      now = Vorn::Host::monotonicSeconds();
      if (now >= nextSample) {
         sampleSafely(Vorn::Host::activity(), now);
         nextSample = now + watch_.pause();
      }
      if (now >= nextKeepAlive) {
         if (!watch_.isOverdue())
            manager_.notify("WATCHDOG=1");
         nextKeepAlive = now + keepAlivePause;
      }
   } while (!stopsWithin(std::min(nextSample, nextKeepAlive) - now));
   Vorn::Host::Activity stopping = Vorn::Host::activity();
   stopping.busy = false;  // the caller of the destructor runs, so the loop is not stalled
   sampleSafely(stopping, Vorn::Host::monotonicSeconds());
}

void Watchdog::sampleSafely(Vorn::Host::Activity const & activity, Vorn::Seconds now) noexcept {
   try {
      sample(activity, now);
   } catch (std::exception const &) {  // no memory; the next sample may find some
   }
}

void Watchdog::sample(Vorn::Host::Activity const & activity, Vorn::Seconds now) {
   LoopWatch::Sample sample{activity, now, {}};
   Vorn::Seconds const age = Vorn::Host::timeSource().spanOf(now - activity.since);
   sample.utcOfTurn = Vorn::System::currentTimeUtc() - age;
   std::optional<LoopWatch::Line> line;
   {
      std::lock_guard const lock{mutex_};
      line = watch_.add(sample);
   }
   if (line)
      log_.noticeFromOtherThread(line->severity, line->text);
}

bool Watchdog::stopsWithin(Vorn::Seconds span) const {
   pollfd stop{stop_.get(), POLLIN, 0};
   return poll(&stop, 1, static_cast<int>(std::ceil(std::max(span.value(), 0.0) * 1e3))) > 0;
}

}  // namespace Agent
