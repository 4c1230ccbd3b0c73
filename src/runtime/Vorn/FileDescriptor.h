// A watched file descriptor. It does not own the descriptor: whoever opened it closes it, after
// telling with `descriptorIs(-1)` or by destroying this entity.
#pragma once

#include <cstdint>

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Attribute.h"

namespace Vorn {

class Poller;

class RUNTIME_API FileDescriptor : public Pelm::Node {
 public:
   explicit FileDescriptor(Pelm::String name);
   ~FileDescriptor() override;

   Pelm::String const & name() const { return name_; }

   // -1: none.
   Attribute<int, FileDescriptor> descriptor{*this, "descriptor", -1};
   Attribute<bool, FileDescriptor> nonBlocking{*this, "nonBlocking"};
   Attribute<bool, FileDescriptor> notifyOnReadable{*this, "notifyOnReadable"};
   Attribute<bool, FileDescriptor> notifyOnWritable{*this, "notifyOnWritable"};

   // Each grows by one whenever the descriptor is found ready while its notification is on: at every
   // turn for what can be polled, an end of file or an error included; for what cannot (a regular file,
   // /dev/null) once each time the notification is switched on or the descriptor is set.
   Attribute<std::uint64_t, FileDescriptor> readableCount{*this, "readableCount"};
   Attribute<std::uint64_t, FileDescriptor> writableCount{*this, "writableCount"};

   // To be called also when the same number now stands for another open file.
   void descriptorIs(int fd);
   void nonBlockingIs(bool value);
   void notifyOnReadableIs(bool value);
   void notifyOnWritableIs(bool value);

 private:
   friend Poller;
   inline void handleReady(bool readable, bool writable);  // defined with the poller, its only caller
   void watch();

   Pelm::String name_;
   bool armedReadable_ = false;  // an unpollable descriptor still owes its one notification
   bool armedWritable_ = false;
   std::uint32_t watchedEvents_ = 0;  // what the poller has been told, 0 for nothing
   int watchedFd_ = -1;
   std::uint32_t watch_ = 0;  // the number of that watch, which no other has
};

}  // namespace Vorn
