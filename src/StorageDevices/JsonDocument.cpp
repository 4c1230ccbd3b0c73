#include "StorageDevices/JsonDocument.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <new>

#include "base/JsonMemory.h"

namespace StorageDevices {

namespace {

using Pool = JsonValue::AllocatorType;
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, Pool, Base::JsonMemory>;
using Reader = rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, Base::JsonMemory>;

// The most that the values of a text can occupy. A value takes 16 bytes, or 24 where pointers need all their
// bits. An element is one value for at least two bytes of the text, a member two for at least five. A string
// takes little more than its own size. Texts above a MiB may occupy half of that, or what a MiB may; reports
// of tools need less.
std::size_t bytesFor(std::string_view text) {
   constexpr std::size_t slack = 64;
   constexpr std::size_t densest = sizeof(JsonValue) / 2;
   constexpr std::size_t dense = densest / 2;
   constexpr std::size_t roomForAll = densest << 20U;
   return std::min(text.size() * densest, std::max(roomForAll, text.size() * dense)) + slack;
}

// Builds the document from the reader's events. It stops the reader at the bound of nesting or memory. The
// reader recurses once per level, after it has reported the start of the level.
class BoundedBuilder {
 public:
   using Ch = Document::Ch;
   using Size = rapidjson::SizeType;

   BoundedBuilder(Document & document, std::size_t bytes) : document_(document), bytesLeft_(bytes) {}

   bool Null() { return take(value) && document_.Null(); }
   bool Bool(bool truth) { return take(value) && document_.Bool(truth); }
   bool Int(int number) { return take(value) && document_.Int(number); }
   bool Uint(unsigned number) { return take(value) && document_.Uint(number); }
   bool Int64(std::int64_t number) { return take(value) && document_.Int64(number); }
   bool Uint64(std::uint64_t number) { return take(value) && document_.Uint64(number); }
   bool Double(double number) { return take(value) && document_.Double(number); }
   bool RawNumber(Ch const * text, Size size, bool copy) {
      return takeText(size) && document_.RawNumber(text, size, copy);
   }
   bool String(Ch const * text, Size size, bool copy) {
      return takeText(size) && document_.String(text, size, copy);
   }
   bool Key(Ch const * text, Size size, bool copy) {
      return takeText(size) && document_.Key(text, size, copy);
   }
   bool StartObject() { return enter() && document_.StartObject(); }
   bool EndObject(Size members) { return leave() && document_.EndObject(members); }
   bool StartArray() { return enter() && document_.StartArray(); }
   bool EndArray(Size elements) { return leave() && document_.EndArray(elements); }

 private:
   static constexpr std::size_t value = sizeof(JsonValue);

   bool enter() { return ++depth_ <= JsonDocument::maxDepth && take(value); }

   bool leave() {
      --depth_;
      return true;
   }

   // A value stores a short text itself.
   bool takeText(Size size) {
      constexpr Size shortText = 12;
      return take(size < shortText ? value : value + RAPIDJSON_ALIGN(size + 1));
   }

   // A value is on the document's stack until its parent ends, then in the pool.
   bool take(std::size_t bytes) {
      if (bytes > bytesLeft_)
         return false;
      bytesLeft_ -= bytes;
      return true;
   }

   Document & document_;
   std::size_t bytesLeft_;
   unsigned depth_ = 0;
};

}  // namespace

// The pool never needs more than its buffer. If it asked the system for more, it would not notice a failure.
struct JsonDocument::Content {
   explicit Content(std::size_t bytes)
       : buffer(Base::JsonMemory::Malloc(bytes + poolHead), &Base::JsonMemory::Free),
         pool(buffer.get(), bytes + poolHead),
         document(&pool) {}

   rapidjson::ParseResult parse(std::string_view text, std::size_t bytes) {
      rapidjson::ParseResult result;
      auto generate = [&](Document & into) {
         rapidjson::MemoryStream stream(text.data(), text.size());
         BoundedBuilder builder(into, bytes);
         Reader reader;
         result = reader.Parse(stream, builder);
         return !result.IsError();
      };
      document.Populate(generate);
      return result;
   }

   static constexpr std::size_t poolHead = 64;

   std::unique_ptr<void, decltype(&Base::JsonMemory::Free)> buffer;
   Pool pool;
   Document document;
};

JsonDocument::JsonDocument(std::string_view text) {
   text = text.substr(0, text.find('\0'));
   try {
      content_ = std::make_unique<Content>(bytesFor(text));
      auto const result = content_->parse(text, bytesFor(text));
      if (result.IsError())
         error_ = rapidjson::GetParseError_En(result.Code());
   } catch (std::bad_alloc const &) {
      error_ = tooMuch;
   }
   if (!isValid())
      content_.reset();
}

JsonDocument::JsonDocument(JsonDocument &&) noexcept = default;
JsonDocument & JsonDocument::operator=(JsonDocument &&) noexcept = default;
JsonDocument::~JsonDocument() = default;

JsonValue const & JsonDocument::root() const {
   static JsonValue const none;
   return content_ ? content_->document : none;
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
