#include "base/HelperThread.h"

#include <csignal>
#include <cstddef>
#include <memory>
#include <system_error>
#include <utility>

namespace Base {

namespace {

using Run = std::function<void()>;

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

void * runThread(void * argument) {
   std::unique_ptr<Run> const run{static_cast<Run *>(argument)};
   (*run)();
   return nullptr;
}

// Answers 0 or an errno value. The stack is small: the usual one needs more address space than the whole
// agent.
int startThread(pthread_t & thread, void * argument) {
   constexpr std::size_t stackBytes = 262144;
   pthread_attr_t attributes;
   if (int const error = pthread_attr_init(&attributes); error != 0)
      return error;
   pthread_attr_setstacksize(&attributes, stackBytes);
   int const error = pthread_create(&thread, &attributes, runThread, argument);
   pthread_attr_destroy(&attributes);
   return error;
}

}  // namespace

HelperThread::HelperThread(Run run) {
   auto owned = std::make_unique<Run>(std::move(run));
   SignalsBlocked const blocked;
   if (int const error = startThread(thread_, owned.get()); error != 0)
      throw std::system_error{error, std::generic_category(), "no thread"};
   [[maybe_unused]] Run const * const ownedByThread = owned.release();
}

HelperThread::~HelperThread() {
   if (!isDetached_)
      pthread_join(thread_, nullptr);
}

void HelperThread::detach() {
   pthread_detach(thread_);
   isDetached_ = true;
}

}  // namespace Base
