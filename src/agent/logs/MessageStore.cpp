#include "agent/logs/MessageStore.h"

namespace Agent {

void MessageStore::add(Vorn::Host::LogMessage const & message) {
   if (messages_.size() == kept)
      messages_.pop_front();
   messages_.push_back({++lastSequence_, message.utc, &message.descriptor, message.arguments, message.text});
   ++counts_[message.descriptor.name];
}

std::uint64_t MessageStore::count(std::string_view name) const {
   auto const found = counts_.find(name);
   return found == counts_.end() ? 0 : found->second;
}

StoredMessage const * MessageStore::firstAfter(std::uint64_t sequence) const {
   if (messages_.empty() || sequence >= lastSequence_)
      return nullptr;
   std::uint64_t const first = messages_.front().sequence;
   return &messages_[sequence < first ? 0 : sequence - first + 1];
}

}  // namespace Agent
