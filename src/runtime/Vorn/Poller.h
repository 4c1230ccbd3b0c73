// Tells watched descriptors when they are ready: epoll for what can be polled, once per arming for
// what cannot. Used by FileDescriptor and the loop alone.
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

   // Brings the watch of a descriptor in line with its attributes. The first that is watched makes the
   // poller, which raises std::system_error where the kernel refuses it.
   static void watch(FileDescriptor & descriptor);
   static void forget(FileDescriptor & descriptor);

   // Waits at most `timeoutMs` (-1: for ever) and tells what is ready, at most a batch; the number told.
   std::size_t turn(int timeoutMs);

 private:
   Poller();
   ~Poller() = default;

   // Null when nobody watches that number.
   FileDescriptor * watcher(int fd) const;
   bool isWatched(FileDescriptor const & descriptor) const;
   void watcherIs(int fd, FileDescriptor * descriptor);
   void watchFor(FileDescriptor & descriptor, unsigned events);
   bool registerWithKernel(FileDescriptor & descriptor, unsigned events);
   void unwatch(FileDescriptor & descriptor);
   std::size_t notifyReady(int count);
   std::size_t notifyUnpollable();

   int epoll_;
   std::uint32_t watches_ = 0;  // made so far
   // Which entity the kernel's registration of a descriptor number belongs to: a number may be
   // closed and reused before the entity that watched it is told. By number, which the kernel keeps low.
   std::vector<FileDescriptor *> watchers_;
   std::vector<FileDescriptor *> unpollable_;  // owed one notification each
   std::vector<epoll_event> ready_;            // the batch being told
   std::vector<FileDescriptor *> notifying_;   // the unpollable ones being told
};

}  // namespace Vorn
