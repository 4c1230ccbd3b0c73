#include "agent/config/ConfigChange.h"

#include <functional>

namespace Agent {

namespace {

enum class Takes { now, nextStart };

struct Key {
   char const * name;
   Takes effect;
   // Answers whether the two differ in this key; `take` copies the second's value to the first.
   std::function<bool(Config const &, Config const &)> differs;
   std::function<void(Config &, Config const &)> take;
};

// `member` answers a reference to the value in the given configuration.
template <class Member>
Key key(char const * name, Takes effect, Member member) {
   return {name, effect, [member](Config const & a, Config const & b) { return !(member(a) == member(b)); },
           [member](Config & to, Config const & from) { member(to) = member(from); }};
}

#define MEMBER(path)             \
   [](auto & config) -> auto & { \
      return config.path;        \
   }  // NOLINT(cppcoreguidelines-macro-usage)

std::vector<Key> const & keys() {
   static std::vector<Key> const all{
       key("poll_interval", Takes::now, MEMBER(pollInterval)),
       key("appliance.etc_dir", Takes::nextStart, MEMBER(appliance.etcDir)),
       key("appliance.expected_mounts", Takes::now, MEMBER(appliance.expectedMounts)),
       key("appliance.mount_source_dir", Takes::nextStart, MEMBER(appliance.mountSourceDir)),
       key("appliance.sensors", Takes::now, MEMBER(appliance.sensors)),
       key("sensors", Takes::now, MEMBER(sensors)),
       key("tools.timeout", Takes::now, MEMBER(tools.timeout)),
       key("tools.path", Takes::now, MEMBER(tools.path)),
       key("tools.accept_exit_bits", Takes::now, MEMBER(tools.acceptExitBits)),
       key("tools.nvme_compat", Takes::now, MEMBER(tools.nvmeCompat)),
       key("kernel_messages.socket", Takes::nextStart, MEMBER(kernelMessages.socket)),
       key("kernel_messages.forward_kmsg", Takes::now, MEMBER(kernelMessages.forwardKmsg)),
       key("kernel_messages.modern_kernels", Takes::now, MEMBER(kernelMessages.modernKernels)),
       key("status.socket", Takes::nextStart, MEMBER(status.socket)),
       key("status.http", Takes::nextStart, MEMBER(status.http)),
       key("status.allow_remote", Takes::nextStart, MEMBER(status.allowRemote)),
       key("status.socket_group", Takes::nextStart, MEMBER(status.socketGroup)),
       key("log.destination", Takes::nextStart, MEMBER(logDestination)),
       key("history.hours", Takes::nextStart, MEMBER(history.hours)),
       key("history.file", Takes::nextStart, MEMBER(history.file)),
       key("verdict.life_warning", Takes::now, MEMBER(verdict.lifeWarning)),
       key("verdict.life_failing", Takes::now, MEMBER(verdict.lifeFailing)),
       key("trace", Takes::now, MEMBER(trace)),
       key("clock.time_scale", Takes::nextStart, MEMBER(timeScale)),
   };
   return all;
}

#undef MEMBER

std::string joined(std::vector<std::string> const & names) {
   std::string text;
   for (std::string const & name : names)
      text += (text.empty() ? "" : ", ") + name;
   return text;
}

}  // namespace

ConfigChange applyConfig(Config & running, Config const & reread) {
   ConfigChange change;
   for (Key const & key : keys()) {
      if (!key.differs(running, reread))
         continue;
      if (key.effect == Takes::now)
         key.take(running, reread);
      (key.effect == Takes::now ? change.applied : change.atNextStart).emplace_back(key.name);
   }
   return change;
}

std::string changeText(ConfigChange const & change) {
   auto const & [applied, later] = change;
   if (applied.empty() && later.empty())
      return "nothing in it has changed";
   std::string text;
   if (!applied.empty())
      text = joined(applied) + (applied.size() == 1 ? " holds now" : " hold now");
   if (!later.empty())
      text += (text.empty() ? "" : "; ") + joined(later) + (later.size() == 1 ? " takes" : " take") +
              " effect at the next start";
   return text;
}

}  // namespace Agent
