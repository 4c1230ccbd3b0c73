#include "nvme-compat/JsonIndex.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <utility>

#include "base/JsonMemory.h"

namespace NvmeCompat {

namespace {

using Kind = JsonIndex::Kind;
using Value = JsonIndex::Value;

// Records the values from the reader's events. Beyond the bounds it stops the reader. Numbers keep their
// spelling.
class Notes : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Notes> {
 public:
   Notes(std::string_view text, rapidjson::MemoryStream const & stream, std::vector<Value> & values)
       : text_(text), stream_(stream), values_(values) {}

   bool Default() { return add(Kind::word); }
   bool RawNumber(char const *, rapidjson::SizeType, bool) { return add(Kind::number); }

   bool String(char const * text, rapidjson::SizeType size, bool) {
      if (!add(Kind::string))
         return false;
      values_.back().text.assign(text, size);
      return true;
   }

   bool Key(char const * text, rapidjson::SizeType size, bool) {
      name_.assign(text, size);
      last_ = stream_.Tell();
      return true;
   }

   bool StartObject() { return open(Kind::object); }
   bool StartArray() { return open(Kind::array); }
   bool EndObject(rapidjson::SizeType) { return close(); }
   bool EndArray(rapidjson::SizeType) { return close(); }

 private:
   // The reader is behind the value. White space and a separator lie between the value and the previous
   // token.
   bool add(Kind kind) {
      if (values_.size() == JsonIndex::maxValues)
         return false;
      std::size_t const begin = text_.find_first_not_of(" \t\r\n:,", last_);
      last_ = stream_.Tell();
      values_.push_back({kind, std::exchange(name_, {}), {}, begin, last_, values_.size() + 1});
      return true;
   }

   bool open(Kind kind) {
      if (open_.size() == JsonIndex::maxDepth || !add(kind))
         return false;
      open_.push_back(values_.size() - 1);
      return true;
   }

   bool close() {
      Value & value = values_[open_.back()];
      open_.pop_back();
      last_ = value.end = stream_.Tell();
      value.next = values_.size();
      return true;
   }

   std::string_view text_;
   rapidjson::MemoryStream const & stream_;
   std::vector<Value> & values_;
   std::vector<std::size_t> open_;
   std::string name_;
   std::size_t last_ = 0;
};

}  // namespace

std::optional<JsonIndex> JsonIndex::of(std::string_view text) {
   if (text.find('\0') != std::string_view::npos)
      return std::nullopt;  // the reader would take the NUL for the end
   JsonIndex index(text);
   rapidjson::MemoryStream stream(text.data(), text.size());
   Notes notes(text, stream, index.values_);
   rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, Base::JsonMemory> reader;
   if (reader.Parse<rapidjson::kParseNumbersAsStringsFlag>(stream, notes).IsError())
      return std::nullopt;
   return index;
}

std::vector<JsonIndex::Value const *> JsonIndex::children(Value const & value) const {
   std::vector<Value const *> result;
   auto const place = static_cast<std::size_t>(&value - values_.data());
   for (std::size_t i = place + 1; i < value.next; i = values_[i].next)
      result.push_back(&values_[i]);
   return result;
}

JsonIndex::Value const * JsonIndex::member(Value const * value, std::string_view name) const {
   if (value == nullptr || value->kind != Kind::object)
      return nullptr;
   auto const place = static_cast<std::size_t>(value - values_.data());
   for (std::size_t i = place + 1; i < value->next; i = values_[i].next)
      if (values_[i].name == name)
         return &values_[i];
   return nullptr;
}

std::string edited(std::string_view text, std::vector<Edit> const & edits) {
   std::string result;
   std::size_t done = 0;
   for (Edit const & edit : edits) {
      result.append(text.substr(done, edit.begin - done)).append(edit.text);
      done = edit.end;
   }
   return result.append(text.substr(done));
}

}  // namespace NvmeCompat
