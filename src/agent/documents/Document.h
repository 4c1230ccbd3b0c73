// A text that is written while it is read. Nobody keeps the whole of it, and nobody waits until it is
// complete.
#pragma once

#include <string_view>

namespace Agent {

class Document {
 public:
   virtual ~Document() = default;

   // The next piece, which stays valid until the next call; empty at the end. Raises std::bad_alloc when
   // there is no memory for it: the document then cannot be continued.
   virtual std::string_view next() = 0;
};

}  // namespace Agent
