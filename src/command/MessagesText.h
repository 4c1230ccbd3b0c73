// The agent's log messages as `storagedevices messages` shows them: as text, or one by one as JSON.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Command {

// Follows the list of log messages over several answers of the agent.
class MessageFeed {
 public:
   enum class Form {
      text,  // the log's line, then explanation and recommended action, indented
      json,  // a line with the message's JSON object
   };

   explicit MessageFeed(Form form) : form_{form} {}

   // The resource to ask the agent for next. It includes the message shown last, by which a restart is
   // noticed.
   std::string resource() const;

   // The messages in the answer that were not shown yet, oldest first. After a restart of the agent the
   // result is empty, and the next answer brings all of its messages. Texts from devices are escaped. Raises
   // std::runtime_error with one line for an answer that is no list of messages.
   std::string take(std::string_view answer);

 private:
   Form form_;
   std::uint64_t shown_ = 0;  // sequence number of the message shown last; 0: none
   double shownTime_ = 0;
};

}  // namespace Command
