#include "agent/documents/PiecedJson.h"

namespace Agent {

std::string_view PiecedJson::next() {
   constexpr std::size_t unusual = 8 * pieceBytes;
   bool const shrink = buffer_.GetSize() > unusual;
   buffer_.Clear();
   if (shrink)
      buffer_.ShrinkToFit();
   while (more_ && buffer_.GetSize() < pieceBytes)
      more_ = value_(writer_);
   return {buffer_.GetString(), buffer_.GetSize()};
}

JsonValue wholeJson(std::function<void(Base::JsonWriter &)> write) {
   return [write = std::move(write)](Base::JsonWriter & writer) {
      write(writer);
      return false;
   };
}

JsonMembers & JsonMembers::add(char const * key, JsonValue value) {
   members_.push_back({key, std::move(value)});
   return *this;
}

bool JsonMembers::operator()(Base::JsonWriter & writer) {
   if (!std::exchange(begun_, true))
      writer.StartObject();
   if (at_ == members_.size()) {
      writer.EndObject();
      return false;
   }
   Member & member = members_[at_];
   if (!std::exchange(member.begun, true))
      writer.Key(member.key);
   if (!member.value(writer)) {
      member.value = nullptr;
      ++at_;
   }
   return true;
}

}  // namespace Agent
