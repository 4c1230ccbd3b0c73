// A value of a configuration file with its position, so that an error can name the line. Hides the TOML
// parser from the code that knows the keys.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Agent {

// Valid as long as its document. Each reader raises ConfigError, with file, line and key, for a value of
// another type or out of range.
class ConfigValue {
 public:
   using Handler = std::function<void(ConfigValue const &)>;
   using Member = std::pair<std::string_view, Handler>;

   // `node` is the parser's, opaque here; `path` is the dotted key, empty for the whole document.
   ConfigValue(std::string const & fileName, std::string path, void const * node)
       : fileName_{&fileName}, path_{std::move(path)}, node_{node} {}

   [[noreturn]] void fail(std::string const & what) const;

   // The value as the operator wrote it, short enough for a message.
   std::string shown() const;

   // Text without control characters, at most 4095 bytes.
   std::string text() const;
   std::string nonEmptyText() const;
   std::string absolutePath() const;
   bool boolean() const;

   // A whole number from `min` to `max`. `what` is the error's description of the valid values: "must be the
   // number of a bit, 0 to 7".
   std::int64_t wholeNumberWithin(std::int64_t min, std::int64_t max, std::string const & what) const;
   // A number from `min` to `max`, whole or not; refuses infinity and NaN.
   double number(double min, double max, std::string const & what) const;

   // Calls the handler of each member of a table; refuses a key without a handler.
   void members(std::initializer_list<Member> known) const;
   // Visits the entries of a table with free keys, which must not be empty or contain control characters.
   void forEachEntry(std::function<void(std::string const & key, ConfigValue const &)> const & visit) const;
   void forEachElement(Handler const & visit) const;

 private:
   std::string childPath(std::string_view key) const;

   std::string const * fileName_;
   std::string path_;
   void const * node_;
};

// The names for a sentence: "a, b and c".
std::string listed(std::vector<std::string_view> const & names);

class ConfigDocument {
 public:
   // Raises ConfigError for invalid TOML.
   ConfigDocument(std::string_view text, std::string fileName);
   ~ConfigDocument();

   ConfigValue root() const;

 private:
   struct Parsed;
   std::string fileName_;
   std::unique_ptr<Parsed> parsed_;
};

}  // namespace Agent
