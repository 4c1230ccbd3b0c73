// The latest log messages, numbered, for those who ask over HTTP.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "agent/documents/Document.h"
#include "agent/documents/JsonText.h"
#include "runtime/host/Log.h"

namespace Agent {

class MessageStore {
 public:
   static constexpr std::size_t kept = 2000;

   void add(Host::LogMessage const & message);

   // {"messages": [...]}: those with a number above `after`, oldest first. Numbers start at 1. It is written
   // while it is read, message by message, and ends with the one that is the latest now; those dropped
   // meanwhile are left out. The store must outlive it.
   std::unique_ptr<Document> json(std::uint64_t after) const;
   std::uint64_t lastSequence() const { return lastSequence_; }

 private:
   struct Stored {
      std::uint64_t sequence;
      double time;
      Vorn::LogDescriptor const * descriptor;  // of the catalogue, which lives as long as the process
      std::vector<Pelm::String> arguments;
      Pelm::String text;
   };

   static void write(JsonWriter & writer, Stored const & stored);
   // The first one above the number, null when there is none.
   Stored const * firstAfter(std::uint64_t sequence) const;

   std::deque<Stored> messages_;
   std::uint64_t lastSequence_ = 0;
};

}  // namespace Agent
