// Structured, rate-limited log messages.
//
// A library defines its messages once, as constant descriptors. Each source file that logs creates its own
// handles when the library is loaded, and emits with `log`. The host's sink (host/Log.h) gets the message
// before `log` returns. Reactor thread only.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <type_traits>
#include <vector>

#include "runtime/Export.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Format.h"
#include "runtime/Vorn/Optional.h"
#include "runtime/Vorn/Seconds.h"

namespace Vorn {

// The recommended action: the message's own text, or one of the standard actions.
class RecommendedAction {
 public:
   enum class Standard : std::uint8_t {
      none = 0,
      reportIfRecurs = 1,  // contact support if it recurs
      replaceHardware = 2,
      contactSupport = 3,
   };

   constexpr RecommendedAction(char const * text) : text_{text} {}
   constexpr RecommendedAction(Standard code) : code_{code} {}

   constexpr bool isStandard() const { return text_ == nullptr; }
   constexpr Standard code() const { return code_; }
   // The text of either kind.
   VORN_API char const * text() const;
   // The message's own text; null for a standard action.
   constexpr char const * ownText() const { return text_; }

 private:
   char const * text_ = nullptr;
   Standard code_ = Standard::none;
};

// One message of a catalogue. All texts are constants that live as long as the process.
struct LogDescriptor {
   char const * name;         // unique in its library, such as STORAGEDEVICE_OFFLINE
   char const * format;       // each %s takes the next argument
   char const * explanation;  // what it means, for an operator
   RecommendedAction recommendedAction;
   int severity;  // of syslog: 3 error, 4 warning, 6 informational

   constexpr std::size_t placeholderCount() const {
      std::size_t count = 0;
      std::string_view const text{format};
      for (std::size_t at = text.find("%s"); at != std::string_view::npos; at = text.find("%s", at + 2))
         ++count;
      return count;
   }
};

// A logged message, as the host's sink gets it. The references are valid during the sink's call alone, but
// for the descriptor.
struct LogMessage {
   LogDescriptor const & descriptor;
   std::vector<Pelm::String> const & arguments;
   Pelm::String text;  // any bytes; texts of devices are not escaped
   Seconds utc;        // when it was logged, since 1970
   // Hash of the arguments in the key of the rate limit.
   std::uint64_t argsHash = 0;
};

// The arguments of one message.
class VORN_API LogString {
 public:
   // Arguments before `index` that are missing become empty.
   void strIs(std::size_t index, Pelm::String value);
   // Empty for a missing argument.
   Pelm::String const & str(std::size_t index) const;
   std::size_t size() const { return arguments_.size(); }
   std::vector<Pelm::String> const & arguments() const { return arguments_; }

   void argsHashIs(std::uint64_t hash) { argsHash_ = hash; }
   std::uint64_t argsHash() const { return argsHash_; }

 private:
   std::vector<Pelm::String> arguments_;
   std::uint64_t argsHash_ = 0;
};

// Hash of the arguments that the mask selects (bit n: argument n, the first 32). Equal in every run, so that
// a key in a report can be found again.
VORN_API std::uint64_t logArgsHash(LogString const & arguments, std::uint32_t mask);

class VORN_API LogHandle {
 public:
   // Logs at most one message per key in `minInterval`; 0 seconds: no limit. The key consists of the handle
   // and the arguments that `unkeyedArgs` (bit n: argument n) does not exclude. Each dropped message
   // multiplies the interval by `factor`, up to `maxInterval` seconds (0: a day).
   LogHandle(LogDescriptor const & descriptor, Seconds minInterval, double factor, unsigned maxInterval,
             unsigned unkeyedArgs);
   LogHandle(LogHandle const &) = delete;
   LogHandle & operator=(LogHandle const &) = delete;
   ~LogHandle();

   LogDescriptor const & descriptor() const { return descriptor_; }
   std::uint32_t rateLimitArgsMask() const { return ~unkeyedArgs_; }
   // A hash of the descriptor's name, equal in every run.
   std::uint64_t idHash() const { return idHash_; }

   // Whether a message with this key may be logged now. True restarts the key's interval. Of more than 1,024
   // keys the one that was logged longest ago is forgotten. Times are framework time.
   bool okToLog(std::uint32_t key);
   // Emits whatever the rate limit says.
   void log(LogString const & arguments) const;

 private:
   class RateLimit;

   LogDescriptor const & descriptor_;
   std::uint32_t unkeyedArgs_;
   std::uint64_t idHash_;
   std::unique_ptr<RateLimit> rateLimit_;  // null: no limit
};

// Emits a message with its arguments in placeholder order, unless the rate limit drops it. As many arguments
// as placeholders: an assertion says so. Without assertions missing ones are empty.
VORN_API void log(LogHandle & handle, std::initializer_list<Pelm::String> arguments);
VORN_API void log(LogHandle & handle, Pelm::String const & argument);

// The text of an argument: a text, an enumeration's name, or a number.
template <class Argument>
Pelm::String logArgument(Argument const & argument) {
   if constexpr (std::convertible_to<Argument const &, Pelm::String>)
      return argument;
   else if constexpr (requires { argument.stringValue(); })
      return argument.stringValue();
   else
      return valueToString(argument);
}

// The same for arguments of any type that has a text.
template <class... Arguments>
requires(sizeof...(Arguments) > 1) void log(LogHandle & handle, Arguments const &... arguments) {
   log(handle, {logArgument(arguments)...});
}
template <class Number>
requires(std::is_arithmetic_v<Number> || std::same_as<Number, Seconds>) void log(LogHandle & handle,
                                                                                 Number argument) {
   log(handle, logArgument(argument));
}

// The text of a message: the format with its arguments filled in.
VORN_API Pelm::String logText(LogDescriptor const & descriptor, std::vector<Pelm::String> const & arguments);

}  // namespace Vorn
