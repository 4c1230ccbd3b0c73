#include "agent/documents/MessagesDocument.h"

#include <utility>

#include "agent/documents/PiecedJson.h"

namespace Agent {

void writeMessage(Base::JsonWriter & writer, StoredMessage const & stored) {
   writer.StartObject();
   Base::writeMember(writer, "sequence", stored.sequence);
   Base::writeMember(writer, "time", stored.utc.value());
   Base::writeMember(writer, "name", stored.descriptor->name);
   Base::writeMember(writer, "severity", stored.descriptor->severity);
   Base::writeMember(writer, "text", stored.text.view());
   writer.Key("arguments");
   writer.StartArray();
   for (Pelm::String const & argument : stored.arguments)
      Base::writeText(writer, argument.view());
   writer.EndArray();
   Base::writeMember(writer, "explanation", stored.descriptor->explanation);
   Base::writeMember(writer, "recommendedAction", stored.descriptor->recommendedAction.text());
   writer.EndObject();
}

std::unique_ptr<Document> messagesDocument(MessageStore const & store, std::uint64_t after) {
   auto messages = [&store, written = after, last = store.lastSequence(),
                    begun = false](Base::JsonWriter & writer) mutable {
      if (!std::exchange(begun, true))
         writer.StartArray();
      StoredMessage const * const next = store.firstAfter(written);
      if (!next || next->sequence > last) {
         writer.EndArray();
         return false;
      }
      writeMessage(writer, *next);
      written = next->sequence;
      return true;
   };
   return std::make_unique<PiecedJson>(JsonMembers{}.add("messages", std::move(messages)));
}

}  // namespace Agent
