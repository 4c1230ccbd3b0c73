// A watched file descriptor. It does not own the descriptor: its owner closes it, after calling
// `descriptorIs(-1)` or destroying this entity. At most one entity watches a number at a time. A descriptor
// that the kernel refuses to watch is traced ("VornPoller") and never ready.
#pragma once

#include <cstdint>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"

namespace Vorn {

class Poller;

class VORN_API FileDescriptor : public Pelm::Node {
 public:
   explicit FileDescriptor(Pelm::String name);
   ~FileDescriptor() override;

   // For traces alone.
   Pelm::String const & name() const { return name_; }

   // -1: none.
   Attribute<int, FileDescriptor> descriptor{*this, "descriptor", -1};
   Attribute<bool, FileDescriptor> nonBlocking{*this, "nonBlocking"};
   Attribute<bool, FileDescriptor> notifyOnReadable{*this, "notifyOnReadable"};
   Attribute<bool, FileDescriptor> notifyOnWritable{*this, "notifyOnWritable"};

   // Each grows by one when the descriptor is ready while its notification is on. For a pollable descriptor
   // that is at every turn, at an end of file or an error too. For others (a regular file, /dev/null) it is
   // once each time the notification is switched on or the descriptor is set.
   Attribute<std::uint64_t, FileDescriptor> readableCount{*this, "readableCount"};
   Attribute<std::uint64_t, FileDescriptor> writableCount{*this, "writableCount"};

   // Call it also when the same number refers to another open file.
   void descriptorIs(int fd);
   // Sets or clears O_NONBLOCK of the open file, for all who share it. True is set again at each
   // `descriptorIs`.
   void nonBlockingIs(bool value);
   // Off at first. Switch it off where a ready descriptor is not read, else every turn notifies of it.
   void notifyOnReadableIs(bool value);
   void notifyOnWritableIs(bool value);

 private:
   friend Poller;
   inline void handleReady(bool readable, bool writable);  // defined with the poller, its only caller
   void watch();

   Pelm::String name_;
   bool armedReadable_ = false;  // the single notification of an unpollable descriptor is due
   bool armedWritable_ = false;
   std::uint32_t watchedEvents_ = 0;  // as registered with the poller; 0: none
   int watchedFd_ = -1;
   std::uint32_t watch_ = 0;  // the unique number of that watch
};

}  // namespace Vorn
