#include "runtime/Vorn/Log.h"

#include <algorithm>
#include <cassert>
#include <unordered_map>

#include "runtime/Vorn/HostSide.h"

namespace Vorn {

namespace {

// FNV-1a: stable between runs, so that a key in a bug report can be found again.
std::uint64_t hashOf(std::string_view text, std::uint64_t seed) {
   std::uint64_t hash = seed;
   for (char const c : text)
      hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
   return hash;
}

constexpr std::uint64_t hashSeed = 14695981039346656037ULL;

bool selected(std::uint32_t mask, std::size_t index) {
   return index < 32 && ((mask >> index) & 1U) != 0;
}

}  // namespace

// The state of a bounded number of keys; beyond it, the key that was used longest ago is dropped.
class LogHandle::RateLimit {
 public:
   RateLimit(Seconds minInterval, double factor, Seconds maxInterval)
       : minInterval_{minInterval},
         factor_{std::max(factor, 1.0)},
         maxInterval_{std::max(minInterval, maxInterval)} {}

   bool ok(std::uint32_t key, Seconds now) {
      auto const known = keys_.find(key);
      if (known == keys_.end()) {
         makeRoom();
         keys_.emplace(key, State{now, minInterval_});
         return true;
      }
      State & state = known->second;
      if (now - state.lastLogged < state.interval) {
         state.interval = std::min(state.interval * factor_, maxInterval_);
         return false;
      }
      state = {now, minInterval_};
      return true;
   }

 private:
   struct State {
      Seconds lastLogged;
      Seconds interval;
   };
   static constexpr std::size_t maxKeys = 1024;

   void makeRoom() {
      if (keys_.size() < maxKeys)
         return;
      keys_.erase(std::min_element(keys_.begin(), keys_.end(), [](auto const & a, auto const & b) {
         return a.second.lastLogged < b.second.lastLogged;
      }));
   }

   Seconds minInterval_;
   double factor_;
   Seconds maxInterval_;
   std::unordered_map<std::uint32_t, State> keys_;
};

char const * RecommendedAction::text() const {
   if (!isStandard())
      return text_;
   switch (code_) {
      case Standard::none:
         return "No action is required.";
      case Standard::reportIfRecurs:
         return "If the message appears again, contact the support of the appliance.";
      case Standard::replaceHardware:
         return "Back up the data of the storage device and contact the support of the appliance: the "
                "hardware may need to be replaced.";
      case Standard::contactSupport:
         return "Check that the storage device is seated and connected. If the condition persists, contact "
                "the support of the appliance.";
   }
   return "";
}

void LogString::strIs(std::size_t index, Pelm::String value) {
   if (arguments_.size() <= index)
      arguments_.resize(index + 1);
   arguments_[index] = std::move(value);
}

Pelm::String const & LogString::str(std::size_t index) const {
   static Pelm::String const none;
   return index < arguments_.size() ? arguments_[index] : none;
}

std::uint64_t logArgsHash(LogString const & arguments, std::uint32_t mask) {
   std::uint64_t hash = hashSeed;
   for (std::size_t i = 0; i < arguments.size(); ++i)
      if (selected(mask, i))
         // The index and the size keep ("ab", "c") apart from ("a", "bc").
         hash = hashOf(arguments.str(i).view(), hash ^ (std::uint64_t{i} << 32U) ^ arguments.str(i).size());
   return hash;
}

LogHandle::LogHandle(LogDescriptor const & descriptor, Seconds minInterval, double factor,
                     unsigned maxInterval, unsigned unkeyedArgs)
    : descriptor_{descriptor}, unkeyedArgs_{unkeyedArgs}, idHash_{hashOf(descriptor.name, hashSeed)} {
   constexpr unsigned day = 86400;
   if (minInterval > 0)
      rateLimit_ = std::make_unique<RateLimit>(minInterval, factor, maxInterval ? maxInterval : day);
}

LogHandle::~LogHandle() = default;

bool LogHandle::okToLog(std::uint32_t key) {
   return !rateLimit_ || rateLimit_->ok(key, System::currentTime());
}

void LogHandle::log(LogString const & arguments) const {
   HostSide::emit(LogMessage{descriptor_, arguments.arguments(), logText(descriptor_, arguments.arguments()),
                             System::currentTimeUtc(), arguments.argsHash()});
}

void log(LogHandle & handle, std::initializer_list<Pelm::String> arguments) {
   assert(arguments.size() == handle.descriptor().placeholderCount());
   std::uint32_t const mask = handle.rateLimitArgsMask();
   LogString logString;
   std::size_t index = 0;
   for (Pelm::String const & argument : arguments)
      if (std::size_t const i = index++; selected(mask, i))
         logString.strIs(i, argument);
   std::uint64_t const argsHash = logArgsHash(logString, mask);
   if (!handle.okToLog(static_cast<std::uint32_t>(handle.idHash()) ^ static_cast<std::uint32_t>(argsHash)))
      return;
   index = 0;
   for (Pelm::String const & argument : arguments)
      if (std::size_t const i = index++; !selected(mask, i))
         logString.strIs(i, argument);
   logString.argsHashIs(argsHash);
   handle.log(logString);
}

void log(LogHandle & handle, Pelm::String const & argument) {
   log(handle, {argument});
}

Pelm::String logText(LogDescriptor const & descriptor, std::vector<Pelm::String> const & arguments) {
   std::string text;
   std::string_view rest{descriptor.format};
   for (std::size_t next = 0;; ++next) {
      std::size_t const at = rest.find("%s");
      text += rest.substr(0, at);
      if (at == std::string_view::npos)
         return text;
      if (next < arguments.size())
         text += arguments[next].view();
      rest.remove_prefix(at + 2);
   }
}

}  // namespace Vorn
