// A text that is written while it is read. Nobody keeps the whole of it, and nobody waits until it is
// complete.
#pragma once

#include <functional>
#include <string_view>

namespace Agent {

class Document {
 public:
   virtual ~Document() = default;

   // The next piece, which stays valid until the next call; empty at the end, or at a pause. Raises
   // std::bad_alloc when there is no memory for it: the document then cannot be continued.
   virtual std::string_view next() = 0;

   // Whether an empty piece is a pause: the document waits for something to happen.
   virtual bool pauses() const { return false; }
   // At a pause: `more` is called once, in a later turn of the loop, when there may be a piece.
   virtual void whenMoreIs(std::function<void()> const & /*more*/) {}
};

}  // namespace Agent
