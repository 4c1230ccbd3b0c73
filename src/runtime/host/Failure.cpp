#include "runtime/host/Failure.h"

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "runtime/Vorn/Failure.h"

namespace Vorn::Host {

namespace {

FailureSink & sink() {
   static auto * const instance = new FailureSink;
   return *instance;
}

void printLine(std::string_view machine, std::string_view what) {
   std::fprintf(stderr, "%.*s: a handler failed: %.*s\n", static_cast<int>(machine.size()), machine.data(),
                static_cast<int>(what.size()), what.data());
}

void report(std::string_view machine, std::string_view what) noexcept {
   try {
      if (sink())
         return sink()(machine, what);
   } catch (...) {  // The sink failed in its turn, perhaps without memory; a line takes none.
      printLine(machine, what);
      return;
   }
   printLine(machine, what);
}

void reportOf(std::type_info const & type, std::string_view what) noexcept {
   int status = 0;
   std::unique_ptr<char, decltype(&std::free)> const name{
       abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free};
   report(name ? name.get() : type.name(), what);
}

}  // namespace

void failureSinkIs(FailureSink newSink) {
   sink() = std::move(newSink);
}

}  // namespace Vorn::Host

void Vorn::detail::reportFailure(std::type_info const & machine) noexcept {
   try {
      throw;
   } catch (std::bad_alloc const &) {
      // Allocates nothing, so the class has the compiler's spelling.
      Vorn::Host::report(machine.name(), "out of memory");
   } catch (std::exception const & error) {
      Vorn::Host::reportOf(machine, error.what());
   } catch (...) {
      Vorn::Host::reportOf(machine, "an exception that is no std::exception");
   }
}
