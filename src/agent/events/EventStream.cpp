#include "agent/events/EventStream.h"

#include <string>
#include <utility>

#include "agent/documents/MessagesDocument.h"
#include "agent/documents/VerdictDocument.h"

namespace Agent {

namespace {

// What a reader that has the messages up to `after` has, or has missed for ever.
std::uint64_t startAfter(MessageStore const & messages, std::uint64_t after) {
   std::uint64_t const known = after > messages.lastSequence() ? 0 : after;
   StoredMessage const * const next = messages.firstAfter(known);
   return next ? next->sequence - 1 : known;
}

}  // namespace

EventStream::EventStream(EventFeed & feed, std::uint64_t after)
    : feed_{feed},
      messageSent_{startAfter(feed.messages_, after)},
      verdictSent_{feed.verdicts_.last()},
      stateSent_{feed.states_.last()},
      ticksSeen_{feed.ticks_},
      beatsSeen_{feed.beats_ - 1} {  // so it begins with a comment, and its reader knows that it is there
   feed_.streamIs(*this);
}

std::string_view EventStream::next() {
   buffer_.Clear();
   while (buffer_.GetSize() < pieceBytes && writeNext())
      continue;
   if (buffer_.GetSize() == 0)
      buffer_.ShrinkToFit();
   return {buffer_.GetString(), buffer_.GetSize()};
}

void EventStream::wake() {
   if (auto const more = std::exchange(more_, nullptr))
      more();
}

bool EventStream::writeNext() {
   if (stateEnd_ != 0)
      return writeState();
   if (writeMessage())
      return true;
   return !overtaken_ && (writeVerdict() || writeState() || writeComment());
}

bool EventStream::writeMessage() {
   StoredMessage const * const message = feed_.messages_.firstAfter(messageSent_);
   overtaken_ = message && message->sequence != messageSent_ + 1;
   if (!message || overtaken_)
      return false;
   write("id: " + std::to_string(message->sequence) + "\nevent: message\ndata: ");
   Base::JsonWriter writer{buffer_};
   Agent::writeMessage(writer, *message);
   write("\n\n");
   messageSent_ = message->sequence;
   return true;
}

bool EventStream::writeVerdict() {
   auto const change = feed_.verdicts_.after(verdictSent_);
   if (change == feed_.verdicts_.end())
      return false;
   verdictSent_ = change->first;
   auto const verdict = feed_.disks_.verdict(change->second);
   if (!verdict)
      return true;  // a disk that is gone has none
   write("event: verdict\ndata: ");
   Base::JsonWriter writer{buffer_};
   writer.StartObject();
   Base::writeMember(writer, "serial", change->second.view());
   writeVerdictMembers(writer, *verdict, feed_.readings_.utcOffset());
   writer.EndObject();
   write("\n\n");
   return true;
}

// One event per tick, a disk at each call.
bool EventStream::writeState() {
   bool const begins = stateEnd_ == 0;
   std::uint64_t const end = begins ? feed_.told_ : stateEnd_;
   auto const change = feed_.states_.after(stateSent_);
   bool const isToldNow = change != feed_.states_.end() && change->first <= end;
   if (begins && (ticksSeen_ == feed_.ticks_ || !isToldNow))
      return false;
   if (!isToldNow) {
      stateEnd_ = 0;
      write("]}\n\n");
      return true;
   }
   write(begins ? "event: state\ndata: {\"changed\":[" : ",");
   if (begins)
      ticksSeen_ = feed_.ticks_;
   stateEnd_ = end;
   stateSent_ = change->first;
   Base::JsonWriter writer{buffer_};
   Base::writeText(writer, change->second.view());
   return true;
}

bool EventStream::writeComment() {
   if (std::exchange(beatsSeen_, feed_.beats_) == feed_.beats_)
      return false;
   write(":\n\n");
   return true;
}

void EventStream::write(std::string_view text) {
   for (char const c : text)
      buffer_.Put(c);
}

}  // namespace Agent
