#include "runtime/host/Failure.h"

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <utility>

#include "runtime/Vorn/Failure.h"

namespace Host {

namespace {

FailureSink & sink() {
   static auto * const instance = new FailureSink;
   return *instance;
}

std::string className(std::type_info const & type) {
   int status = 0;
   std::unique_ptr<char, decltype(&std::free)> const name{
       abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free};
   return name ? name.get() : type.name();
}

void report(std::string const & machine, char const * what) {
   if (sink())
      sink()(machine, what);
   else
      std::fprintf(stderr, "%s: a handler failed: %s\n", machine.c_str(), what);
}

}  // namespace

void failureSinkIs(FailureSink newSink) {
   sink() = std::move(newSink);
}

}  // namespace Host

void Vorn::detail::reportFailure(std::type_info const & machine) noexcept {
   try {
      throw;
   } catch (std::exception const & error) {
      Host::report(Host::className(machine), error.what());
   } catch (...) {
      Host::report(Host::className(machine), "an exception that is no std::exception");
   }
}
