#include "runtime/Brul/OutputPipe.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>

namespace Brul {

namespace {

constexpr auto tooLong = "its output exceeded 4 MiB";

}  // namespace

int OutputPipe::open() {
   std::array<int, 2> ends{};
   if (pipe2(ends.data(), O_CLOEXEC) != 0)
      return -1;
   end_->nonBlockingIs(true);
   end_->descriptorIs(ends[0]);
   return ends[1];
}

bool OutputPipe::read() {
   // Of a pipe's 64 KiB: a few reads per turn keep up with any tool and starve no other descriptor.
   constexpr int readsPerTurn = 4;
   static std::array<char, 65536> buffer;
   for (int i = 0; i < readsPerTurn && isOpen(); ++i) {
      ssize_t const count = ::read(end_->descriptor(), buffer.data(), buffer.size());
      if (count < 0 && (errno == EAGAIN || errno == EINTR))
         return true;
      if (count <= 0 || !take(buffer.data(), static_cast<std::size_t>(count)))
         closeEnd();
   }
   return isOpen();
}

void OutputPipe::outputIs(std::string text) {
   text_ = std::move(text);
   if (text_.size() > maxBytes)
      lose(tooLong);
}

bool OutputPipe::take(char const * bytes, std::size_t size) {
   if (size > maxBytes - text_.size())
      return lose(tooLong);
   try {
      text_.append(bytes, size);
   } catch (std::bad_alloc const &) {
      return lose("there was no memory for its output");
   }
   return true;
}

bool OutputPipe::lose(char const * reason) {
   lossReason_ = reason;
   std::string{}.swap(text_);
   return false;
}

void OutputPipe::closeEnd() {
   int const fd = end_->descriptor();
   end_->descriptorIs(-1);
   if (fd >= 0)
      close(fd);
}

}  // namespace Brul
