// Preloaded: the n-th operator new of the process fails, once. FAULTS_ALLOCATION is n. The calls that lead
// there are written to the file FAULTS_REPORT.

#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <new>
#include <string>

namespace {

std::atomic<unsigned long> allocations;
unsigned long failing = 0;
int report = -1;

// The children of the process do not inherit the fault.
[[gnu::constructor]] void begin() {
   char const * const number = std::getenv("FAULTS_ALLOCATION");
   char const * const file = std::getenv("FAULTS_REPORT");
   failing = number ? std::strtoul(number, nullptr, 10) : 0;
   report = file ? open(file, O_WRONLY | O_CREAT | O_CLOEXEC, 0600) : -1;
   std::array<void *, 1> callers{};
   backtrace(callers.data(), callers.size());  // the first call of it allocates
   unsetenv("FAULTS_ALLOCATION");
   unsetenv("FAULTS_REPORT");
   allocations = 0;
}

bool fails() {
   if (++allocations != failing)
      return false;
   std::array<void *, 40> callers{};
   backtrace_symbols_fd(callers.data(), backtrace(callers.data(), callers.size()), report);
   close(report);
   return true;
}

void * allocated(std::size_t size) {
   return fails() ? nullptr : std::malloc(size > 0 ? size : 1);
}

void * allocated(std::size_t size, std::align_val_t alignment) {
   auto const unit = static_cast<std::size_t>(alignment);
   return fails() ? nullptr : std::aligned_alloc(unit, (size + unit - 1) / unit * unit);
}

template <typename... Arguments>
void * orThrow(Arguments... arguments) {
   if (void * const memory = allocated(arguments...))
      return memory;
   throw std::bad_alloc{};
}

}  // namespace

void * operator new(std::size_t size) {
   return orThrow(size);
}
void * operator new[](std::size_t size) {
   return orThrow(size);
}
void * operator new(std::size_t size, std::align_val_t alignment) {
   return orThrow(size, alignment);
}
void * operator new[](std::size_t size, std::align_val_t alignment) {
   return orThrow(size, alignment);
}
void * operator new(std::size_t size, std::nothrow_t const & /*tag*/) noexcept {
   return allocated(size);
}
void * operator new[](std::size_t size, std::nothrow_t const & /*tag*/) noexcept {
   return allocated(size);
}
void operator delete(void * memory) noexcept {
   std::free(memory);
}
void operator delete[](void * memory) noexcept {
   std::free(memory);
}
void operator delete(void * memory, std::size_t /*size*/) noexcept {
   std::free(memory);
}
void operator delete[](void * memory, std::size_t /*size*/) noexcept {
   std::free(memory);
}
void operator delete(void * memory, std::align_val_t /*alignment*/) noexcept {
   std::free(memory);
}
void operator delete(void * memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
   std::free(memory);
}
