#include "runtime/Vorn/FileDescriptor.h"

#include <fcntl.h>

#include "runtime/Vorn/Poller.h"

namespace Vorn {

FileDescriptor::FileDescriptor(Pelm::String name) : name_{std::move(name)} {}

FileDescriptor::~FileDescriptor() {
   Poller::instance().forget(*this);
}

void FileDescriptor::descriptorIs(int fd) {
   if (fd == descriptor())
      return;
   Poller::instance().forget(*this);
   descriptor.valueIs(fd);
   if (fd >= 0 && nonBlocking())
      nonBlockingIs(true);
   watch();
}

void FileDescriptor::nonBlockingIs(bool value) {
   nonBlocking.valueIs(value);
   if (descriptor() < 0)
      return;
   int const flags = fcntl(descriptor(), F_GETFL);
   int const wanted = value ? flags | O_NONBLOCK : flags & ~O_NONBLOCK;
   if (flags >= 0 && wanted != flags)
      fcntl(descriptor(), F_SETFL, wanted);
}

void FileDescriptor::notifyOnReadableIs(bool value) {
   armedReadable_ = value && (armedReadable_ || !notifyOnReadable());
   notifyOnReadable.valueIs(value);
   watch();
}

void FileDescriptor::notifyOnWritableIs(bool value) {
   armedWritable_ = value && (armedWritable_ || !notifyOnWritable());
   notifyOnWritable.valueIs(value);
   watch();
}

void FileDescriptor::watch() {
   Poller::instance().watch(*this);
}

void FileDescriptor::handleReady(bool readable, bool writable) {
   if (readable && notifyOnReadable())
      readableCount.valueIs(readableCount() + 1);
   if (writable && notifyOnWritable())
      writableCount.valueIs(writableCount() + 1);
}

}  // namespace Vorn
