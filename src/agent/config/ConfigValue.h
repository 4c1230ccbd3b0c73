// A value of a configuration file with its place in it, so that whoever refuses it can say where it
// stands. Hides the TOML parser from the code that knows the keys.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace Agent {

// Lives no longer than the document that it came from. Every reader raises ConfigError, naming file,
// line and key, when the value is not what was asked for.
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

   // `what` says what it must be, without what it is: "must be the number of a bit, 0 to 7".
   std::int64_t wholeNumber(std::int64_t min, std::int64_t max, std::string const & what) const;
   // Takes whole numbers too; refuses infinity and what is not a number.
   double number(double min, double max, std::string const & what) const;

   // Hands each member of a table to its handler; a key without one is refused.
   void members(std::initializer_list<Member> known) const;
   // Visits the entries of a table whose keys are free: not empty and without control characters.
   void forEachEntry(std::function<void(std::string const & key, ConfigValue const &)> const & visit) const;
   void forEachElement(Handler const & visit) const;

 private:
   std::string childPath(std::string_view key) const;

   std::string const * fileName_;
   std::string path_;
   void const * node_;
};

class ConfigDocument {
 public:
   // Raises ConfigError for a text that is not TOML.
   ConfigDocument(std::string_view text, std::string fileName);
   ConfigDocument(ConfigDocument const &) = delete;
   ConfigDocument & operator=(ConfigDocument const &) = delete;
   ~ConfigDocument();

   ConfigValue root() const;

 private:
   struct Parsed;
   std::string fileName_;
   std::unique_ptr<Parsed> parsed_;
};

}  // namespace Agent
