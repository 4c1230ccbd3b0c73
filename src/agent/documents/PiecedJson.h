// A JSON document that is written piece by piece. The records may change between two pieces; the text stays
// valid JSON:
// - A record is written at once, so it shows one moment. Two records may show two moments.
// - An object has the records that existed when its first one was written. A record that is deleted before
// its
//   turn is left out.
#pragma once

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "agent/documents/Document.h"
#include "base/JsonText.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"

namespace Agent {

// A value that writes its next part at each call, and answers whether more is to come. A part is small: some
// kilobytes, in some microseconds.
using JsonValue = std::function<bool(Base::JsonWriter &)>;

class PiecedJson final : public Document {
 public:
   // A piece ends with the part that makes it as long as this.
   static constexpr std::size_t pieceBytes = 4096;

   explicit PiecedJson(JsonValue value) : value_{std::move(value)} {}

   std::string_view next() override;

 private:
   JsonValue value_;
   bool more_ = true;
   Base::JsonBuffer buffer_;
   Base::JsonWriter writer_{buffer_};
};

// A value of a single part.
JsonValue wholeJson(std::function<void(Base::JsonWriter &)> write);

// A truth value or a number.
template <class Number>
JsonValue numberJson(Number number) {
   return wholeJson([number](Base::JsonWriter & writer) { Base::writeValue(writer, number); });
}

// An object whose members are known beforehand; each has its own number of parts.
class JsonMembers {
 public:
   // The key must live as long as the program.
   JsonMembers & add(char const * key, JsonValue value);

   bool operator()(Base::JsonWriter & writer);

 private:
   struct Member {
      char const * key;
      JsonValue value;
      bool begun = false;
   };
   std::vector<Member> members_;
   std::size_t at_ = 0;
   bool begun_ = false;
};

// An object with the members that a collection has at the object's first part. Between two pieces it keeps
// only keys, so a slow reader keeps no record alive, only the owner of the collection.
//
// `write(writer, key, found)` writes the next part of a member, its key first, and answers whether more of it
// is to come. `found` is null or empty for a member that is gone.
template <class Collection, class Write>
class JsonObject {
 public:
   JsonObject(Collection const & collection, Write write)
       : collection_{&collection}, owner_{&collection.owner()}, write_{std::move(write)} {}

   bool operator()(Base::JsonWriter & writer) {
      if (!std::exchange(begun_, true))
         begin(writer);
      if (at_ == keys_.size()) {
         writer.EndObject();
         return false;
      }
      if (!write_(writer, keys_[at_], (*collection_)(keys_[at_])))
         ++at_;
      return true;
   }

 private:
   void begin(Base::JsonWriter & writer) {
      writer.StartObject();
      keys_.reserve(collection_->size());
      for (auto const member : *collection_)
         keys_.push_back(member.key);
   }

   Collection const * collection_;
   Pelm::Ptr<Pelm::Node const> owner_;
   Write write_;
   std::vector<typename Collection::Key> keys_;
   std::size_t at_ = 0;
   bool begun_ = false;
};

// Of members that are written at once. `write(writer, key, member)` writes the key and the value of one, or
// neither.
template <class Collection, class Write>
JsonValue jsonObjectOfSome(Collection const & collection, Write write) {
   return JsonObject{collection, [write = std::move(write)](Base::JsonWriter & writer, auto const & key,
                                                            auto const & found) {
                        if (found)
                           write(writer, key, *found);
                        return false;
                     }};
}

// An object with a member for each one of a collection. `write(writer, member)` writes the value of one.
template <class Collection, class Write>
JsonValue jsonObject(Collection const & collection, Write write) {
   return jsonObjectOfSome(collection, [write = std::move(write)](Base::JsonWriter & writer, auto const & key,
                                                                  auto const & member) {
      Base::writeText(writer, key.view());
      write(writer, member);
   });
}

}  // namespace Agent
