#include "runtime/Vorn/Poller.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Breadcrumb.h"
#include "runtime/Vorn/Errno.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/HostSide.h"
#include "runtime/Vorn/Trace.h"

namespace Vorn {

namespace {

TraceHandle traceHandle{"VornPoller", true};

// Large enough that the cost of a turn is small beside that of its handlers, and small enough to be fair. The
// kernel answers the rest in the following turns, in rotation.
constexpr std::size_t batch = 1024;

// Never destroyed. Null until it is needed: a descriptor can be destroyed even if the kernel refuses a
// poller.
Poller * made = nullptr;

unsigned wantedEvents(FileDescriptor const & descriptor) {
   if (descriptor.descriptor() < 0)
      return 0;
   return (descriptor.notifyOnReadable() ? unsigned{EPOLLIN} : 0U) |
          (descriptor.notifyOnWritable() ? unsigned{EPOLLOUT} : 0U);
}

}  // namespace

// Does not use the entity after the last notification, since a subscriber may drop it.
inline void FileDescriptor::handleReady(bool readable, bool writable) {
   bool const notifyReadable = readable && notifyOnReadable();
   if (writable && notifyOnWritable()) [[unlikely]] {
      Pelm::KeepAlive const keepAlive{*this};
      if (notifyReadable)
         readableCount.valueIs(readableCount() + 1);
      if (notifyOnWritable())
         writableCount.valueIs(writableCount() + 1);
   } else if (notifyReadable) {
      readableCount.valueIs(readableCount() + 1);
   }
}

Poller & Poller::instance() {
   if (!made)
      made = new Poller;
   return *made;
}

Poller::Poller() : epoll_{epoll_create1(EPOLL_CLOEXEC)}, ready_(batch) {
   if (epoll_ < 0)
      throw std::system_error{errno, std::generic_category(), "epoll_create1"};
}

void Poller::watch(FileDescriptor & descriptor) {
   if (unsigned const wanted = wantedEvents(descriptor))
      instance().watchFor(descriptor, wanted);
   else if (made)
      made->unwatch(descriptor);
}

void Poller::watchFor(FileDescriptor & descriptor, unsigned wanted) {
   if (wanted == descriptor.watchedEvents_)
      return;
   if (registerWithKernel(descriptor, wanted)) {
      watcherIs(descriptor.descriptor(), &descriptor);
      descriptor.watchedFd_ = descriptor.descriptor();
      descriptor.watchedEvents_ = wanted;
      return;
   }
   int const error = errno;
   unwatch(descriptor);
   if (error == EPERM) {
      unpollable_.push_back(&descriptor);
      HostSide::workChanged();
   } else
      VORN_TRACE(traceHandle, 0) << " cannot watch " << descriptor.name() << ": "
                                 << Errno(error, "epoll_ctl");
}

FileDescriptor * Poller::watcher(int fd) const {
   auto const index = static_cast<std::size_t>(fd);  // the largest index for -1
   return index < watchers_.size() ? watchers_[index] : nullptr;
}

bool Poller::isWatched(FileDescriptor const & descriptor) const {
   return watcher(descriptor.watchedFd_) == &descriptor;
}

void Poller::watcherIs(int fd, FileDescriptor * descriptor) {
   auto const index = static_cast<std::size_t>(fd);
   if (index >= watchers_.size())
      watchers_.resize(index + 1);
   watchers_[index] = descriptor;
}

bool Poller::registerWithKernel(FileDescriptor & descriptor, unsigned events) {
   bool const known = isWatched(descriptor);
   if (!known)
      descriptor.watch_ = ++watches_;
   int const fd = descriptor.descriptor();
   epoll_event event{};
   event.events = events;
   event.data.u64 = std::uint64_t{descriptor.watch_} << 32U | static_cast<std::uint32_t>(fd);
   if (known && epoll_ctl(epoll_, EPOLL_CTL_MOD, fd, &event) == 0)
      return true;
   // The kernel does not know it: it is new, or its owner has closed the number and opened it again.
   return (!known || errno == ENOENT) && epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event) == 0;
}

void Poller::unwatch(FileDescriptor & descriptor) {
   std::erase(unpollable_, &descriptor);
   if (isWatched(descriptor)) {
      epoll_ctl(epoll_, EPOLL_CTL_DEL, descriptor.watchedFd_, nullptr);
      watcherIs(descriptor.watchedFd_, nullptr);
   }
   descriptor.watchedEvents_ = 0;
   descriptor.watchedFd_ = -1;
}

void Poller::forget(FileDescriptor & descriptor) {
   if (!made)
      return;
   made->unwatch(descriptor);
   auto & notifying = made->notifying_;
   std::replace(notifying.begin(), notifying.end(), &descriptor, static_cast<FileDescriptor *>(nullptr));
}

std::size_t Poller::turn(int timeoutMs) {
   int const timeout = unpollable_.empty() ? timeoutMs : 0;
   Breadcrumb & crumb = Breadcrumb::instance();
   if (timeout != 0)
      crumb.beginWait();
   int const count = epoll_wait(epoll_, ready_.data(), static_cast<int>(batch), timeout);
   crumb.beginTurn();
   return notifyReady(std::max(count, 0)) + notifyUnpollable();
}

std::size_t Poller::notifyReady(int count) {
   std::size_t notified = 0;
   for (int i = 0; i < count; ++i) {
      unsigned const events = ready_[static_cast<std::size_t>(i)].events;
      std::uint64_t const data = ready_[static_cast<std::size_t>(i)].data.u64;
      FileDescriptor * const watching = watcher(static_cast<int>(data & UINT32_MAX));
      // A handler of this batch may have ended the watch, or the owner may have closed the number.
      if (!watching || watching->watch_ != data >> 32U)
         continue;
      unsigned const failed = events & (unsigned{EPOLLERR} | unsigned{EPOLLHUP});
      watching->handleReady((events & EPOLLIN) || failed, (events & EPOLLOUT) || failed);
      ++notified;
   }
   return notified;
}

std::size_t Poller::notifyUnpollable() {
   if (unpollable_.empty())
      return 0;
   notifying_.swap(unpollable_);
   std::size_t notified = 0;
   for (FileDescriptor * const waiting : notifying_) {
      if (!waiting)
         continue;
      Pelm::KeepAlive const keepAlive{*waiting};
      bool const readable = std::exchange(waiting->armedReadable_, false);
      bool const writable = std::exchange(waiting->armedWritable_, false);
      waiting->handleReady(readable, writable);
      notified += readable || writable;
   }
   notifying_.clear();
   return notified;
}

}  // namespace Vorn
