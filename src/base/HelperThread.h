// A thread beside the program's main one. It receives no signals, and has a small stack.
#pragma once

#include <pthread.h>

#include <functional>

namespace Base {

class HelperThread {
 public:
   // `run` is destroyed on the thread, and must not raise. Raises std::system_error where the system refuses
   // the thread.
   explicit HelperThread(std::function<void()> run);
   HelperThread(HelperThread const &) = delete;
   HelperThread & operator=(HelperThread const &) = delete;
   // Waits for the end of `run`, unless the thread was detached.
   ~HelperThread();

   // The thread goes on alone: it must use nothing that ends before it.
   void detach();

 private:
   pthread_t thread_{};
   bool isDetached_ = false;
};

}  // namespace Base
