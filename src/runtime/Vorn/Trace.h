// Traces: lines for developers and support, per facility and level.
//
// Levels: 0 errors, 1 notable state changes, 2 the flow of events, 7 periodic detail.
//
//    Vorn::TraceHandle traceHandle{"StorageSomethingSm", true};
//    VORN_TRACE(traceHandle, 2) << " uevent received.";
//
// A disabled trace costs a load and a branch; nothing to the right of it is evaluated. So the right side must
// have no effect that the program needs. A line that finds no memory is lost, and nothing else is.
#pragma once

#include <atomic>
#include <sstream>
#include <string>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Seconds.h"

namespace Vorn {

// One facility. Create one per source file, with static storage: it must exist until the process ends.
class VORN_API TraceHandle {
 public:
   // `onByDefault`: level 0 is enabled until the host changes it; otherwise none is.
   TraceHandle(char const * facility, bool onByDefault);
   TraceHandle(TraceHandle const &) = delete;
   TraceHandle & operator=(TraceHandle const &) = delete;
   ~TraceHandle();

   char const * facility() const { return facility_; }

   // Any thread may ask.
   bool enabled(int level) const { return level <= level_.load(std::memory_order_relaxed); }
   // The highest enabled level; -1: none. Set by the host, through `Host::traceLevelIs`.
   void levelIs(int level) { level_.store(level, std::memory_order_relaxed); }
   int level() const { return level_.load(std::memory_order_relaxed); }

 private:
   char const * facility_;
   std::atomic<int> level_;
};

// Builds a line. Its destructor passes the line to the host's sink, if the facility is enabled at its level.
class VORN_API TraceHelper {
 public:
   TraceHelper(TraceHandle const & handle, int level, char const * file, int line, char const * function);
   TraceHelper(TraceHelper const &) = delete;
   TraceHelper & operator=(TraceHelper const &) = delete;
   ~TraceHelper();

   // Makes a trace a void expression, so that it can stand anywhere.
   struct Voidify {
      void operator&(TraceHelper const &) const {}
   };

   // As the standard stream writes it, with decimal numbers, whatever the host's locale is.
   template <class T>
   TraceHelper & operator<<(T const & value) {
      stream_ << value;
      return *this;
   }
   TraceHelper & operator<<(char const * text) {
      stream_ << (text ? text : "(null)");
      return *this;
   }
   TraceHelper & operator<<(Seconds value) {
      stream_ << value.value();
      return *this;
   }
   // A byte is a small number, not a character.
   TraceHelper & operator<<(unsigned char value) {
      stream_ << static_cast<unsigned>(value);
      return *this;
   }

 private:
   TraceHandle const & handle_;
   int level_;
   char const * file_;
   int line_;
   char const * function_;
   std::ostringstream stream_;
};

}  // namespace Vorn

// NOLINTBEGIN(bugprone-macro-parentheses): only a macro can leave its right side unevaluated.
#define VORN_TRACE(handle, level)                              \
   !(handle).enabled(level) ? static_cast<void>(0)             \
                            : ::Vorn::TraceHelper::Voidify{} & \
                                  ::Vorn::TraceHelper((handle), (level), __FILE__, __LINE__, __func__)
// NOLINTEND(bugprone-macro-parentheses)
