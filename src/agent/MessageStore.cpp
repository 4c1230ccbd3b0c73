#include "agent/MessageStore.h"

#include "agent/JsonText.h"

namespace Agent {

void MessageStore::add(Host::LogMessage const & message) {
   if (messages_.size() == kept)
      messages_.pop_front();
   messages_.push_back(
       {++lastSequence_, message.utc.value(), &message.descriptor, message.arguments, message.text});
}

std::string MessageStore::json(std::uint64_t after) const {
   rapidjson::StringBuffer buffer;
   JsonWriter writer{buffer};
   writer.StartObject();
   writer.Key("messages");
   writer.StartArray();
   for (Stored const & stored : messages_) {
      if (stored.sequence <= after)
         continue;
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
   writer.EndArray();
   writer.EndObject();
   return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace Agent
