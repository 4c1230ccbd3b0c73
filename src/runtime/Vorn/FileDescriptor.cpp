#include "runtime/Vorn/FileDescriptor.h"

#include <fcntl.h>

#include "runtime/Vorn/Poller.h"

namespace Vorn {

FileDescriptor::FileDescriptor(Pelm::String name) : name_{std::move(name)} {}

FileDescriptor::~FileDescriptor() {
   Poller::forget(*this);
}

void FileDescriptor::descriptorIs(int fd) {
   Pelm::KeepAlive const keepAlive{*this};  // a subscriber may drop it
   // Also for an unchanged number: it may have been closed and opened again.
   Poller::forget(*this);
   armedReadable_ = notifyOnReadable();
   armedWritable_ = notifyOnWritable();
   descriptor.valueIs(fd);
   if (nonBlocking())
      nonBlockingIs(true);
   watch();
}

void FileDescriptor::nonBlockingIs(bool value) {
   Pelm::KeepAlive const keepAlive{*this};
   nonBlocking.valueIs(value);
   if (descriptor() < 0)
      return;
   int const flags = fcntl(descriptor(), F_GETFL);
   int const wanted = value ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
   if (flags >= 0 && wanted != flags)
      fcntl(descriptor(), F_SETFL, wanted);
}

void FileDescriptor::notifyOnReadableIs(bool value) {
   Pelm::KeepAlive const keepAlive{*this};
   armedReadable_ = value && (armedReadable_ || !notifyOnReadable());
   notifyOnReadable.valueIs(value);
   watch();
}

void FileDescriptor::notifyOnWritableIs(bool value) {
   Pelm::KeepAlive const keepAlive{*this};
   armedWritable_ = value && (armedWritable_ || !notifyOnWritable());
   notifyOnWritable.valueIs(value);
   watch();
}

void FileDescriptor::watch() {
   Poller::watch(*this);
}

}  // namespace Vorn
