// Makes reads fail, and changes files between the check of their type and their opening.
#pragma once

#include <functional>

namespace Support {

// For its scope, every read after the next `good` ones fails with EIO.
class ReadFailure {
 public:
   explicit ReadFailure(unsigned good = 0);
   ReadFailure(ReadFailure const &) = delete;
   ReadFailure & operator=(ReadFailure const &) = delete;
   ~ReadFailure();
};

// Whether the next read fails in that way; sets errno. For the replacement of read().
bool readFails();

// Runs an action once, after the type of a file below a directory was queried (fstatat).
class AfterLooking {
 public:
   explicit AfterLooking(std::function<void()> action);
   AfterLooking(AfterLooking const &) = delete;
   AfterLooking & operator=(AfterLooking const &) = delete;
   ~AfterLooking();
};

}  // namespace Support
