// The latest log messages, numbered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string_view>
#include <vector>

#include "runtime/host/Log.h"

namespace Agent {

struct StoredMessage {
   std::uint64_t sequence;                  // 1 or more
   Vorn::Seconds utc;                       // when it was logged, since 1970
   Vorn::LogDescriptor const * descriptor;  // of the catalogue, which lives as long as the process
   std::vector<Pelm::String> arguments;     // any bytes, as they came from the devices
   Pelm::String text;                       // the descriptor's format, filled in
};

class MessageStore {
 public:
   // The store drops its oldest message beyond this many.
   static constexpr std::size_t kept = 2000;

   void add(Vorn::Host::LogMessage const & message);

   // The oldest kept message with a number above `sequence`; null when there is none.
   StoredMessage const * firstAfter(std::uint64_t sequence) const;
   // The number of the latest message; 0 before the first.
   std::uint64_t lastSequence() const { return lastSequence_; }
   // Messages of that name, dropped ones included.
   std::uint64_t count(std::string_view name) const;

 private:
   std::deque<StoredMessage> messages_;
   std::map<std::string_view, std::uint64_t> counts_;  // by the descriptor's name
   std::uint64_t lastSequence_ = 0;
};

}  // namespace Agent
