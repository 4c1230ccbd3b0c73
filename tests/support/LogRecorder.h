// Keeps what is logged while it lives.
#pragma once

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "runtime/host/Log.h"

namespace Support {

class LogRecorder {
 public:
   struct Message {
      std::string name;
      int severity;
      std::string text;
      std::vector<std::string> arguments;
      Vorn::Seconds utc;
      std::uint64_t argsHash;
   };

   LogRecorder() {
      Vorn::Host::logSinkIs([this](Vorn::Host::LogMessage const & logged) {
         if (raises)
            throw std::bad_alloc{};
         Message message{
             logged.descriptor.name, logged.descriptor.severity, logged.text.str(), {}, logged.utc,
             logged.argsHash};
         for (Pelm::String const & argument : logged.arguments)
            message.arguments.push_back(argument.str());
         messages_.push_back(message);
      });
   }
   LogRecorder(LogRecorder const &) = delete;
   LogRecorder & operator=(LogRecorder const &) = delete;
   ~LogRecorder() { Vorn::Host::logSinkIs(nullptr); }

   bool raises = false;  // as a host's sink without memory does

   std::vector<Message> const & messages() const { return messages_; }
   std::vector<std::string> texts() const {
      std::vector<std::string> result;
      for (Message const & message : messages_)
         result.push_back(message.text);
      return result;
   }
   void clear() { messages_.clear(); }

 private:
   std::vector<Message> messages_;
};

}  // namespace Support
