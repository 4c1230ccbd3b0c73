#include "agent/logs/MessageStore.h"

#include <utility>

#include "agent/documents/PiecedJson.h"

namespace Agent {

void MessageStore::add(Host::LogMessage const & message) {
   if (messages_.size() == kept)
      messages_.pop_front();
   messages_.push_back(
       {++lastSequence_, message.utc.value(), &message.descriptor, message.arguments, message.text});
}

void MessageStore::write(JsonWriter & writer, Stored const & stored) {
   writer.StartObject();
   writer.Key("sequence");
   writer.Uint64(stored.sequence);
   writer.Key("time");
   writer.Double(stored.time);
   writeMember(writer, "name", stored.descriptor->name);
   writer.Key("severity");
   writer.Int(stored.descriptor->severity);
   writeMember(writer, "text", stored.text.view());
   writer.Key("arguments");
   writer.StartArray();
   for (Pelm::String const & argument : stored.arguments)
      writeText(writer, argument.view());
   writer.EndArray();
   writeMember(writer, "explanation", stored.descriptor->explanation);
   writeMember(writer, "recommendedAction", stored.descriptor->recommendedAction.text());
   writer.EndObject();
}

MessageStore::Stored const * MessageStore::firstAfter(std::uint64_t sequence) const {
   if (messages_.empty() || sequence >= lastSequence_)
      return nullptr;
   std::uint64_t const first = messages_.front().sequence;
   return &messages_[sequence < first ? 0 : sequence - first + 1];
}

std::unique_ptr<Document> MessageStore::json(std::uint64_t after) const {
   auto messages = [this, written = after, last = lastSequence_, begun = false](JsonWriter & writer) mutable {
      if (!std::exchange(begun, true))
         writer.StartArray();
      Stored const * const next = firstAfter(written);
      if (!next || next->sequence > last) {
         writer.EndArray();
         return false;
      }
      write(writer, *next);
      written = next->sequence;
      return true;
   };
   return std::make_unique<PiecedJson>(JsonMembers{}.add("messages", std::move(messages)));
}

}  // namespace Agent
