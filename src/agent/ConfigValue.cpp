#include "agent/ConfigValue.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <stdexcept>

namespace {

// The parser asserts where it should refuse: on a table header that begins with no key. An operator's
// slip must not end the agent without a word.
struct TomlAssertion : std::logic_error {
   using std::logic_error::logic_error;
};

[[noreturn]] void tomlAssertionFailed(char const * what) {
   throw TomlAssertion{what};
}

}  // namespace

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage)
#define TOML_ASSERT(expr) ((expr) ? static_cast<void>(0) : tomlAssertionFailed(#expr))
#include <toml++/toml.h>

#include "agent/Config.h"
#include "agent/Text.h"

namespace Agent {

namespace {

constexpr std::size_t maxText = 4095;
constexpr std::size_t maxShown = 60;

toml::node const & nodeOf(void const * node) {
   return *static_cast<toml::node const *>(node);
}

bool hasControlCharacters(std::string_view text) {
   return std::any_of(text.begin(), text.end(), [](char c) {
      auto const byte = static_cast<unsigned char>(c);
      return byte < 0x20 || byte == 0x7f;
   });
}

std::string inQuotes(std::string_view text) {
   std::string const shortened = cutToWidth(escaped(text.substr(0, maxText)), maxShown);
   return "\"" + shortened + "\"";
}

bool isBareKey(std::string_view key) {
   constexpr std::string_view bare = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";
   return !key.empty() && key.find_first_not_of(bare) == std::string_view::npos;
}

[[noreturn]] void refuse(std::string const & fileName, std::size_t line, std::string const & what) {
   std::string const place = line == 0 ? "" : ":" + std::to_string(line);
   throw ConfigError{escaped(fileName) + place + ": " + what};
}

// The keys of a section as a sentence needs them: "a, b or c".
std::string listed(std::initializer_list<ConfigValue::Member> known) {
   std::string result;
   std::size_t left = known.size();
   for (auto const & member : known) {
      result += member.first;
      --left;
      result += left == 0 ? "" : left == 1 ? " or " : ", ";
   }
   return result;
}

// The line (from 1) of the first header whose bracket no key follows; 1 if there is none.
std::size_t keylessHeaderLine(std::string_view text) {
   std::size_t line = 1;
   for (std::size_t at = 0; at < text.size(); ++line) {
      std::size_t const end = std::min(text.find('\n', at), text.size());
      std::string_view const row = text.substr(at, end - at);
      std::size_t const bracket = row.find_first_not_of(" \t");
      std::size_t const name = row.find_first_not_of("[ \t", bracket);
      if (bracket != std::string_view::npos && row[bracket] == '[' && name != std::string_view::npos &&
          !isBareKey(row.substr(name, 1)) && row[name] != '"' && row[name] != '\'')
         return line;
      at = end + 1;
   }
   return 1;
}

}  // namespace

struct ConfigDocument::Parsed {
   toml::table root;
};

ConfigDocument::ConfigDocument(std::string_view text, std::string fileName) : fileName_{std::move(fileName)} {
   try {
      parsed_ = std::make_unique<Parsed>(Parsed{toml::parse(text, std::string_view{})});
   } catch (toml::parse_error const & error) {
      refuse(fileName_, error.source().begin.line,
             "is not TOML: " + cutToWidth(escaped(error.description()), 200));
   } catch (TomlAssertion const &) {
      refuse(fileName_, keylessHeaderLine(text),
             "is not TOML: a table header needs a name after its bracket");
   }
}

ConfigDocument::~ConfigDocument() = default;

ConfigValue ConfigDocument::root() const {
   return {fileName_, {}, static_cast<toml::node const *>(&parsed_->root)};
}

void ConfigValue::fail(std::string const & what) const {
   refuse(*fileName_, nodeOf(node_).source().begin.line, path_.empty() ? what : path_ + ": " + what);
}

std::string ConfigValue::shown() const {
   toml::node const & node = nodeOf(node_);
   if (auto const * text = node.as_string())
      return inQuotes(text->get());
   if (node.is_table())
      return "a table";
   if (node.is_array())
      return "an array";
   std::ostringstream stream;
   node.visit([&stream](auto const & value) { stream << value; });
   return cutToWidth(escaped(stream.str()), maxShown);
}

std::string ConfigValue::text() const {
   auto const * text = nodeOf(node_).as_string();
   if (text == nullptr)
      fail("must be text in quotation marks, not " + shown());
   if (hasControlCharacters(text->get()))
      fail("must not contain control characters: " + shown());
   if (text->get().size() > maxText)
      fail("must be at most 4095 bytes long");
   return text->get();
}

std::string ConfigValue::nonEmptyText() const {
   std::string result = text();
   if (result.empty())
      fail("must not be empty");
   return result;
}

std::string ConfigValue::absolutePath() const {
   std::string path = text();
   if (!path.starts_with('/'))
      fail("must be an absolute path, beginning with \"/\", not " + shown());
   return path;
}

bool ConfigValue::boolean() const {
   auto const * value = nodeOf(node_).as_boolean();
   if (value == nullptr)
      fail("must be true or false, not " + shown());
   return value->get();
}

std::int64_t ConfigValue::wholeNumber(std::int64_t min, std::int64_t max, std::string const & what) const {
   auto const * value = nodeOf(node_).as_integer();
   if (value == nullptr || value->get() < min || value->get() > max)
      fail(what + ", not " + shown());
   return value->get();
}

double ConfigValue::number(double min, double max, std::string const & what) const {
   toml::node const & node = nodeOf(node_);
   double value = std::nan("");
   if (auto const * whole = node.as_integer())
      value = static_cast<double>(whole->get());
   else if (auto const * real = node.as_floating_point())
      value = real->get();
   if (!(value >= min && value <= max))
      fail(what + ", not " + shown());
   return value;
}

std::string ConfigValue::childPath(std::string_view key) const {
   std::string const name = isBareKey(key) ? cutToWidth(key, maxShown) : inQuotes(key);
   return path_.empty() ? name : path_ + "." + name;
}

void ConfigValue::members(std::initializer_list<Member> known) const {
   auto const * table = nodeOf(node_).as_table();
   if (table == nullptr)
      fail("must be a table, not " + shown());
   for (auto const & [key, node] : *table) {
      auto const member = std::find_if(known.begin(), known.end(),
                                       [&key = key](Member const & m) { return m.first == key.str(); });
      if (member == known.end())
         refuse(*fileName_, key.source().begin.line,
                childPath(key.str()) + ": is not a known key; here may stand " + listed(known));
      member->second({*fileName_, childPath(key.str()), &node});
   }
}

void ConfigValue::forEachEntry(
    std::function<void(std::string const & key, ConfigValue const &)> const & visit) const {
   auto const * table = nodeOf(node_).as_table();
   if (table == nullptr)
      fail("must be a table, not " + shown());
   for (auto const & [key, node] : *table) {
      if (key.str().empty() || hasControlCharacters(key.str()) || key.str().size() > maxText)
         refuse(*fileName_, key.source().begin.line,
                childPath(key.str()) + ": must be a name that is not empty and has no control characters");
      visit(std::string{key.str()}, {*fileName_, childPath(key.str()), &node});
   }
}

void ConfigValue::forEachElement(Handler const & visit) const {
   auto const * array = nodeOf(node_).as_array();
   if (array == nullptr)
      fail("must be an array in square brackets, not " + shown());
   for (toml::node const & element : *array)
      visit({*fileName_, path_, &element});
}

}  // namespace Agent
