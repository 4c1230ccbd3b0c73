// Event streams over a store of messages and a unit whose records a test writes.
#pragma once

#include <rapidjson/document.h>

#include <memory>
#include <string>
#include <vector>

#include "agent/events/EventFeed.h"
#include "runtime/Vorn/Format.h"
#include "tests/support/UnitOfRecords.h"

namespace Agent {

class EventStreamTest : public Support::UnitOfRecords {
 protected:
   struct Event {
      std::string id;
      std::string name;  // "comment" for a comment
      std::string data;
   };

   static constexpr Vorn::LogDescriptor lamp{"LAMP", "lamp %s is out", "It is dark.", "Change it.", 4};

   void log(std::string const & lampName = "1") {
      std::vector<Pelm::String> const arguments{Pelm::String{lampName}};
      store.add({lamp, arguments, Vorn::logText(lamp, arguments), 1795196298.5});
      feed.messageAdded();
   }
   void logMany(int count) {
      for (int i = 0; i < count; ++i)
         log(std::to_string(i));
   }

   // All that the stream has to say now.
   static std::string textOf(Document & stream) {
      std::string text;
      for (std::string_view piece = stream.next(); !piece.empty(); piece = stream.next())
         text += piece;
      return text;
   }
   // Reads a text as browsers do. Events without their blank line are left out.
   static std::vector<Event> eventsOf(std::string const & text) {
      std::vector<Event> events;
      std::size_t at = 0;
      for (std::size_t end; (end = text.find("\n\n", at)) != std::string::npos; at = end + 2)
         events.push_back(eventOf(text.substr(at, end - at)));
      return events;
   }
   static std::vector<Event> eventsOf(Document & stream, std::string const & name) {
      std::vector<Event> events = eventsOf(textOf(stream));
      std::erase_if(events, [&](Event const & event) { return event.name != name; });
      return events;
   }
   static rapidjson::Document json(std::string const & text) {
      rapidjson::Document document;
      document.Parse(text.c_str());
      EXPECT_FALSE(document.HasParseError()) << text;
      return document;
   }
   // The serial numbers that a state event names.
   static std::vector<std::string> changedOf(Event const & event) {
      std::vector<std::string> serials;
      rapidjson::Document const document = json(event.data);
      for (auto const & serial : document["changed"].GetArray())
         serials.emplace_back(serial.GetString());
      return serials;
   }

   MessageStore store;
   EventFeed feed{store, verdicts, readings};

 private:
   static Event eventOf(std::string const & block) {
      Event event{{}, "comment", {}};
      for (std::size_t at = 0; at < block.size(); at = std::min(block.size(), block.find('\n', at)) + 1) {
         std::string const line = block.substr(at, block.find('\n', at) - at);
         std::size_t const colon = line.find(':');
         std::string const field = line.substr(0, colon);
         std::string const value = line.substr(std::min(line.size(), colon + 2));
         (field == "id" ? event.id : field == "event" ? event.name : event.data) = value;
      }
      return event;
   }
};

}  // namespace Agent
