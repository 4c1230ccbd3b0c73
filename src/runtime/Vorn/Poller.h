// Notifies watched descriptors when they are ready: with epoll if they are pollable, else once per arming.
// Used by FileDescriptor and the loop alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

struct epoll_event;

namespace Vorn {

class FileDescriptor;

class Poller {
 public:
   static Poller & instance();

   Poller(Poller const &) = delete;
   Poller & operator=(Poller const &) = delete;

   // Updates the watch of a descriptor to its attributes. The first watch creates the poller, which raises
   // std::system_error where the kernel refuses it.
   static void watch(FileDescriptor & descriptor);
   static void forget(FileDescriptor & descriptor);

   // Waits at most `timeoutMs` (-1: without limit) and notifies the ready descriptors, at most a batch.
   // Answers the number notified.
   std::size_t turn(int timeoutMs);

   // Readable while a pollable descriptor is ready.
   int descriptor() const { return epoll_; }
   // Whether a descriptor that cannot be polled waits to be notified.
   bool hasUnpollable() const { return !unpollable_.empty(); }

 private:
   Poller();
   ~Poller() = default;

   // Null when that number is not watched.
   FileDescriptor * watcher(int fd) const;
   bool isWatched(FileDescriptor const & descriptor) const;
   void watcherIs(int fd, FileDescriptor * descriptor);
   void watchFor(FileDescriptor & descriptor, unsigned events);
   bool registerWithKernel(FileDescriptor & descriptor, unsigned events);
   void unwatch(FileDescriptor & descriptor);
   std::size_t notifyReady(int count);
   std::size_t notifyUnpollable();

   int epoll_;
   std::uint32_t watches_ = 0;  // created so far
   // The entity to which the kernel's registration of a number belongs: a number may be closed and reused
   // before its entity is notified. Indexed by number, which the kernel keeps low.
   std::vector<FileDescriptor *> watchers_;
   std::vector<FileDescriptor *> unpollable_;  // one notification is due for each
   std::vector<epoll_event> ready_;            // the batch being notified
   std::vector<FileDescriptor *> notifying_;   // the unpollable ones being notified
};

}  // namespace Vorn
