// Lets a bad disk answer reads, and files change between a look at them and their opening.
#pragma once

#include <functional>

namespace Support {

// While it lives every read after the next `good` ones fails with EIO.
class ReadFailure {
 public:
   explicit ReadFailure(unsigned good = 0);
   ReadFailure(ReadFailure const &) = delete;
   ReadFailure & operator=(ReadFailure const &) = delete;
   ~ReadFailure();
};

// Whether the read that is to be made now fails so; sets errno. For whoever stands in for read().
bool readFails();

// What is done once, when the kind of a file below a directory has been asked for (fstatat).
class AfterLooking {
 public:
   explicit AfterLooking(std::function<void()> action);
   AfterLooking(AfterLooking const &) = delete;
   AfterLooking & operator=(AfterLooking const &) = delete;
   ~AfterLooking();
};

}  // namespace Support
