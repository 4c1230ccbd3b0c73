#include "runtime/Vorn/Poller.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Errno.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Trace.h"

namespace Vorn {

namespace {

TraceHandle traceHandle{"VornPoller", true};

// Enough to make the cost of a turn small beside that of its handlers, few enough to stay fair:
// the kernel hands out the rest in the following turns, in rotation.
constexpr std::size_t batch = 256;

unsigned wantedEvents(FileDescriptor const & descriptor) {
   if (descriptor.descriptor() < 0)
      return 0;
   return (descriptor.notifyOnReadable() ? unsigned{EPOLLIN} : 0U) |
          (descriptor.notifyOnWritable() ? unsigned{EPOLLOUT} : 0U);
}

}  // namespace

Poller & Poller::instance() {
   static auto * const poller = new Poller;
   return *poller;
}

Poller::Poller() : epoll_{epoll_create1(EPOLL_CLOEXEC)}, ready_(batch) {
   if (epoll_ < 0)
      throw std::system_error{errno, std::generic_category(), "epoll_create1"};
}

void Poller::watch(FileDescriptor & descriptor) {
   unsigned const wanted = wantedEvents(descriptor);
   if (wanted == descriptor.watchedEvents_ && wanted != 0)
      return;
   if (wanted == 0) {
      unwatch(descriptor);
      return;
   }
   int const fd = descriptor.descriptor();
   bool const known = descriptor.watchedEvents_ != 0;
   if (tellKernel(descriptor, known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, wanted)) {
      watchers_[fd] = &descriptor;
      descriptor.watchedFd_ = fd;
      descriptor.watchedEvents_ = wanted;
   } else if (errno == EPERM) {
      std::erase(unpollable_, &descriptor);
      unpollable_.push_back(&descriptor);
   } else {
      VORN_TRACE(traceHandle, 0) << " cannot watch " << descriptor.name() << ": "
                                 << Errno(errno, "epoll_ctl");
   }
}

bool Poller::tellKernel(FileDescriptor & descriptor, int operation, unsigned events) const {
   epoll_event event{};
   event.events = events;
   event.data.ptr = &descriptor;
   int const fd = descriptor.descriptor();
   if (epoll_ctl(epoll_, operation, fd, &event) == 0)
      return true;
   // The number was closed behind our back and opened anew: what the kernel knew of it is gone.
   if (operation == EPOLL_CTL_MOD && errno == ENOENT)
      return epoll_ctl(epoll_, EPOLL_CTL_ADD, fd, &event) == 0;
   return false;
}

void Poller::unwatch(FileDescriptor & descriptor) {
   std::erase(unpollable_, &descriptor);
   if (descriptor.watchedEvents_ == 0)
      return;
   auto const watcher = watchers_.find(descriptor.watchedFd_);
   if (watcher != watchers_.end() && watcher->second == &descriptor) {
      epoll_ctl(epoll_, EPOLL_CTL_DEL, descriptor.watchedFd_, nullptr);
      watchers_.erase(watcher);
   }
   descriptor.watchedEvents_ = 0;
   descriptor.watchedFd_ = -1;
}

void Poller::forget(FileDescriptor & descriptor) {
   unwatch(descriptor);
   std::replace(telling_.begin(), telling_.end(), &descriptor, static_cast<FileDescriptor *>(nullptr));
   for (epoll_event & event : ready_)
      if (event.data.ptr == &descriptor)
         event.data.ptr = nullptr;
}

std::size_t Poller::turn(int timeoutMs) {
   int const timeout = unpollable_.empty() ? timeoutMs : 0;
   int const count = epoll_wait(epoll_, ready_.data(), static_cast<int>(batch), timeout);
   return tellReady(std::max(count, 0)) + tellUnpollable();
}

std::size_t Poller::tellReady(int count) {
   std::size_t told = 0;
   for (int i = 0; i < count; ++i) {
      epoll_event const event = ready_[static_cast<std::size_t>(i)];
      ready_[static_cast<std::size_t>(i)].data.ptr = nullptr;
      if (!event.data.ptr)
         continue;
      Pelm::Ptr<FileDescriptor> const descriptor{static_cast<FileDescriptor *>(event.data.ptr)};
      unsigned const failed = event.events & (unsigned{EPOLLERR} | unsigned{EPOLLHUP});
      descriptor->handleReady((event.events & EPOLLIN) || failed, (event.events & EPOLLOUT) || failed);
      ++told;
   }
   return told;
}

std::size_t Poller::tellUnpollable() {
   if (unpollable_.empty())
      return 0;
   telling_.swap(unpollable_);
   std::size_t told = 0;
   for (std::size_t i = 0; i < telling_.size(); ++i) {
      if (!telling_[i])
         continue;
      Pelm::Ptr<FileDescriptor> const descriptor{telling_[i]};
      bool const readable = std::exchange(descriptor->armedReadable_, false);
      bool const writable = std::exchange(descriptor->armedWritable_, false);
      descriptor->handleReady(readable, writable);
      told += readable || writable;
   }
   telling_.clear();
   return told;
}

}  // namespace Vorn
