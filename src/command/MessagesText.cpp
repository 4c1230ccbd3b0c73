#include "command/MessagesText.h"

#include <algorithm>
#include <stdexcept>

#include "base/JsonText.h"
#include "base/JsonView.h"

namespace Command {

namespace {

using Json = rapidjson::Value;

std::uint64_t sequenceOf(Json const & message) {
   Json const * const sequence = Base::jsonMember(&message, "sequence");
   return sequence != nullptr && sequence->IsUint64() ? sequence->GetUint64() : 0;
}

double timeOf(Json const & message) {
   return Base::jsonNumber(&message, "time").value_or(0);
}

std::string textOf(Json const & message) {
   constexpr std::size_t indent = 3;
   int const severity =
       static_cast<int>(std::clamp(Base::jsonNumber(&message, "severity").value_or(-1), -1.0, 8.0));
   std::string result = Base::utcTime(timeOf(message)) + " " + std::string{Base::severityWord(severity)} +
                        " " + Base::escaped(Base::jsonText(&message, "name")) + ": " +
                        Base::escaped(Base::jsonText(&message, "text")) + "\n";
   auto const add = [&](char const * title, char const * key) {
      std::string const text = Base::escaped(Base::jsonText(&message, key));
      if (!text.empty())
         result.append(indent, ' ').append(title).append(text).append("\n");
   };
   add("Meaning: ", "explanation");
   add("Action:  ", "recommendedAction");
   return result;
}

// Whether arrays and objects lie inside each other so deep that writing them might exceed the stack.
bool isTooDeep(std::string_view text) {
   constexpr int most = 512;
   int depth = 0;
   bool isInText = false;
   for (std::size_t at = 0; at < text.size() && depth <= most; ++at) {
      char const c = text[at];
      if (isInText && c == '\\')
         ++at;
      else if (c == '"')
         isInText = !isInText;
      else if (!isInText)
         depth += (c == '[' || c == '{' ? 1 : 0) - (c == ']' || c == '}' ? 1 : 0);
   }
   return depth > most;
}

// Raises std::runtime_error for texts that are no UTF-8, or have half a surrogate pair.
std::string jsonOf(Json const & message) {
   Base::JsonBuffer buffer;
   Base::JsonWriter writer{buffer};
   if (!message.Accept(writer))
      throw std::runtime_error{
          "a message of the agent cannot be written as JSON: it has a text that is no Unicode"};
   return Base::withoutDel(buffer) + "\n";
}

}  // namespace

std::string MessageFeed::resource() const {
   return shown_ == 0 ? "/api/v1/messages" : "/api/v1/messages?after=" + std::to_string(shown_ - 1);
}

std::string MessageFeed::take(std::string_view answer) {
   rapidjson::Document const document = Base::parsedJson(answer, "list of messages");
   Json const * const messages = Base::jsonMember(&document, "messages");
   if (messages == nullptr || !messages->IsArray())
      throw std::runtime_error{
          "the agent's answer lists no messages: is it of the same version as this program?"};
   if (form_ == Form::json && isTooDeep(answer))
      throw std::runtime_error{"the agent's list of messages is nested too deep to be written"};
   bool const hasFirst = !messages->Empty();
   bool const isOther =
       hasFirst && sequenceOf(*messages->Begin()) == shown_ && timeOf(*messages->Begin()) != shownTime_;
   if (shown_ != 0 && (!hasFirst || isOther)) {
      shown_ = 0;
      return {};
   }
   std::string result;
   for (Json const & message : messages->GetArray()) {
      if (sequenceOf(message) <= shown_)
         continue;
      result += form_ == Form::text ? textOf(message) : jsonOf(message);
      shown_ = sequenceOf(message);
      shownTime_ = timeOf(message);
   }
   return result;
}

}  // namespace Command
