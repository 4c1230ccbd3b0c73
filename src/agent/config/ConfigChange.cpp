#include "agent/config/ConfigChange.h"

#include <functional>

namespace Agent {

namespace {

enum class Effect { now, nextStart };

struct Key {
   char const * name;
   Effect effect;
   // Answers whether the two differ in this key; `assign` copies the second's value to the first.
   std::function<bool(Config const &, Config const &)> differs;
   std::function<void(Config &, Config const &)> assign;
};

// `member` answers a reference to the value in the given configuration.
template <class Member>
Key key(char const * name, Effect effect, Member member) {
   return {name, effect, [member](Config const & a, Config const & b) { return !(member(a) == member(b)); },
           [member](Config & to, Config const & from) { member(to) = member(from); }};
}

// NOLINTBEGIN(bugprone-macro-parentheses): the argument names a member
#define MEMBER(path)             \
   [](auto & config) -> auto & { \
      return config.path;        \
   }
// NOLINTEND(bugprone-macro-parentheses)

std::vector<Key> const & keys() {
   static std::vector<Key> const all{
       key("poll_interval", Effect::now, MEMBER(pollInterval)),
       key("appliance.etc_dir", Effect::nextStart, MEMBER(appliance.etcDir)),
       key("appliance.expected_mounts", Effect::now, MEMBER(appliance.expectedMounts)),
       key("appliance.mount_source_dir", Effect::nextStart, MEMBER(appliance.mountSourceDir)),
       key("appliance.sensors", Effect::now, MEMBER(appliance.sensors)),
       key("sensors", Effect::now, MEMBER(sensors)),
       key("tools.timeout", Effect::now, MEMBER(tools.timeout)),
       key("tools.path", Effect::now, MEMBER(tools.path)),
       key("tools.accept_exit_bits", Effect::now, MEMBER(tools.acceptExitBits)),
       key("tools.nvme_compat", Effect::now, MEMBER(tools.nvmeCompat)),
       key("kernel_messages.socket", Effect::nextStart, MEMBER(kernelMessages.socket)),
       key("kernel_messages.forward_kmsg", Effect::now, MEMBER(kernelMessages.forwardKmsg)),
       key("kernel_messages.modern_kernels", Effect::now, MEMBER(kernelMessages.modernKernels)),
       key("status.socket", Effect::nextStart, MEMBER(status.socket)),
       key("status.http", Effect::nextStart, MEMBER(status.http)),
       key("status.allow_remote", Effect::nextStart, MEMBER(status.allowRemote)),
       key("status.socket_group", Effect::nextStart, MEMBER(status.socketGroup)),
       key("log.destination", Effect::nextStart, MEMBER(logDestination)),
       key("history.hours", Effect::nextStart, MEMBER(history.hours)),
       key("history.file", Effect::nextStart, MEMBER(history.file)),
       key("verdict.life_warning", Effect::now, MEMBER(verdict.lifeWarning)),
       key("verdict.life_failing", Effect::now, MEMBER(verdict.lifeFailing)),
       key("trace", Effect::now, MEMBER(trace)),
       key("clock.time_scale", Effect::nextStart, MEMBER(timeScale)),
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
      if (key.effect == Effect::now)
         key.assign(running, reread);
      (key.effect == Effect::now ? change.applied : change.atNextStart).emplace_back(key.name);
   }
   return change;
}

std::string changeText(ConfigChange const & change) {
   auto const & [applied, later] = change;
   if (applied.empty() && later.empty())
      return "nothing in it has changed";
   std::string text;
   if (!applied.empty())
      text = joined(applied) + (applied.size() == 1 ? " takes effect now" : " take effect now");
   if (!later.empty())
      text += (text.empty() ? "" : "; ") + joined(later) + (later.size() == 1 ? " takes" : " take") +
              " effect at the next start";
   return text;
}

}  // namespace Agent
