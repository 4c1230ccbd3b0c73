#include "StorageDevices/JsonDocument.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace StorageDevices {

namespace {

// Builds the document from the reader's events and ends the reading when it goes too deep. The reader
// recurses once per level, after it has told of the level's start.
class BoundedBuilder {
 public:
   using Ch = rapidjson::Document::Ch;
   using Size = rapidjson::SizeType;

   explicit BoundedBuilder(rapidjson::Document & document) : document_(document) {}

   bool Null() { return document_.Null(); }
   bool Bool(bool value) { return document_.Bool(value); }
   bool Int(int value) { return document_.Int(value); }
   bool Uint(unsigned value) { return document_.Uint(value); }
   bool Int64(std::int64_t value) { return document_.Int64(value); }
   bool Uint64(std::uint64_t value) { return document_.Uint64(value); }
   bool Double(double value) { return document_.Double(value); }
   bool RawNumber(Ch const * text, Size size, bool copy) { return document_.RawNumber(text, size, copy); }
   bool String(Ch const * text, Size size, bool copy) { return document_.String(text, size, copy); }
   bool Key(Ch const * text, Size size, bool copy) { return document_.Key(text, size, copy); }
   bool StartObject() { return enter() && document_.StartObject(); }
   bool EndObject(Size members) { return leave() && document_.EndObject(members); }
   bool StartArray() { return enter() && document_.StartArray(); }
   bool EndArray(Size elements) { return leave() && document_.EndArray(elements); }

 private:
   bool enter() { return ++depth_ <= JsonDocument::maxDepth; }

   bool leave() {
      --depth_;
      return true;
   }

   rapidjson::Document & document_;
   unsigned depth_ = 0;
};

rapidjson::ParseResult parse(std::string_view text, rapidjson::Document & into) {
   rapidjson::ParseResult result;
   auto generate = [&](rapidjson::Document & document) {
      rapidjson::MemoryStream stream(text.data(), text.size());
      BoundedBuilder builder(document);
      rapidjson::Reader reader;
      result = reader.Parse(stream, builder);
      return !result.IsError();
   };
   into.Populate(generate);
   return result;
}

}  // namespace

JsonDocument::JsonDocument(std::string_view text) : document_(std::make_unique<rapidjson::Document>()) {
   auto const result = parse(text.substr(0, text.find('\0')), *document_);
   if (result.IsError())
      error_ = rapidjson::GetParseError_En(result.Code());
}

JsonDocument::JsonDocument(JsonDocument &&) noexcept = default;
JsonDocument & JsonDocument::operator=(JsonDocument &&) noexcept = default;
JsonDocument::~JsonDocument() = default;

JsonValue const & JsonDocument::root() const {
   return *document_;
}

JsonValue const * jsonMember(JsonValue const * value, std::string_view name) {
   if (value == nullptr || !value->IsObject())
      return nullptr;
   JsonValue const key(rapidjson::StringRef(name.data(), name.size()));
   auto const member = value->FindMember(key);
   return member == value->MemberEnd() ? nullptr : &member->value;
}

std::optional<std::string_view> jsonString(JsonValue const * value) {
   if (value == nullptr || !value->IsString())
      return std::nullopt;
   return std::string_view(value->GetString(), value->GetStringLength());
}

std::optional<std::uint64_t> jsonUnsigned(JsonValue const * value) {
   if (value == nullptr || !value->IsUint64())
      return std::nullopt;
   return value->GetUint64();
}

}  // namespace StorageDevices
