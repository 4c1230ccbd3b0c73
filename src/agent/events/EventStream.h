// The events of one reader, as server-sent events. It has no end, unless its reader is overtaken: a message
// that it has not got is kept no longer. Such a reader had better begin again, and sees the gap then.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#include "agent/documents/Document.h"
#include "agent/events/EventFeed.h"
#include "base/JsonText.h"

namespace Agent {

class EventStream final : public Document {
 public:
   // A piece ends with the event that makes it as long as this. An event of many parts has pieces of its own.
   static constexpr std::size_t pieceBytes = 512;

   // See EventFeed::stream.
   EventStream(EventFeed & feed, std::uint64_t after);
   EventStream(EventStream const &) = delete;
   EventStream & operator=(EventStream const &) = delete;
   ~EventStream() override { feed_.streamDel(*this); }

   std::string_view next() override;
   bool pauses() const override { return !overtaken_; }
   void whenMoreIs(std::function<void()> const & more) override { more_ = more; }

   // There may be more.
   void wake();
   // The numbers of the latest changes that the reader knows of.
   std::uint64_t verdictSent() const { return verdictSent_; }
   std::uint64_t stateSent() const { return stateSent_; }

 private:
   // Each writes the next event of its kind, or a part of it; false when there is none.
   bool writeNext();
   bool writeMessage();
   bool writeVerdict();
   bool writeState();
   bool writeComment();

   void write(std::string_view text);

   EventFeed & feed_;
   std::function<void()> more_;
   Base::JsonBuffer buffer_;
   std::uint64_t messageSent_;
   std::uint64_t verdictSent_;
   std::uint64_t stateSent_;
   std::uint64_t ticksSeen_;
   std::uint64_t beatsSeen_;
   std::uint64_t stateEnd_ = 0;  // the last change of the state event that is being written; 0: none is
   bool overtaken_ = false;
};

}  // namespace Agent
