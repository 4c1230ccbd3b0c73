// The table of kernel messages, read as KernelPattern.h describes it: row by row, without its shortcuts.
#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "agent/kernel/KernelDeviceName.h"
#include "agent/kernel/KernelMessages.h"

namespace NaiveKernel {

using Agent::KernelMatch;
using Agent::NamedAs;

inline constexpr std::string_view digits = "0123456789";
inline constexpr std::string_view hexDigits = "0123456789abcdefABCDEF";
inline constexpr std::string_view alnum = "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
inline constexpr std::string_view ofName =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-_.+/";

inline bool isIn(std::string_view set, char c) {
   return set.find(c) != std::string_view::npos;
}

// What has been matched of a line, and what it named so far.
struct State {
   std::string_view line;
   std::size_t at = 0;
   KernelMatch match = {};

   std::string_view rest() const { return line.substr(at); }
   std::string_view since(std::size_t from) const { return line.substr(from, at - from); }
   bool text(std::string_view wanted) {
      bool const good = rest().starts_with(wanted);
      at += good ? wanted.size() : 0;
      return good;
   }
   // As many of the set as there are; whether there was one.
   bool run(std::string_view set) {
      std::size_t const from = at;
      while (at < line.size() && isIn(set, line[at]))
         ++at;
      return at > from;
   }
   void name(std::size_t from, std::string device, bool isBlockDevice) {
      match.namedAs = NamedAs::device;
      match.nameInLine = since(from);
      match.device = std::move(device);
      match.isBlockDevice = isBlockDevice;
   }
};

// Whether the pattern `next` may begin with the character.
inline bool mayBegin(std::string_view next, char c) {
   if (!next.starts_with('<'))
      return next.starts_with(c);
   std::string const choices = "|" + std::string{next.substr(1, next.find('>') - 1)} + "|";
   return choices.find(std::string{"|"} + c) != std::string::npos && c != '|';
}

inline bool isWholeName(State const & state, std::string_view next) {
   std::string_view const rest = state.rest();
   if (rest.empty() || mayBegin(next, rest[0]))
      return true;
   if (rest[0] == '.')
      return rest.size() == 1 || !isIn(alnum, rest[1]);
   return !isIn(ofName, rest[0]) && rest[0] != '!';
}

inline bool blockDevice(State & state, std::string_view next, NamedAs as) {
   std::size_t const from = state.at;
   bool const beginsWithLetter =
       from < state.line.size() && isIn(alnum, state.line[from]) && !isIn(digits, state.line[from]);
   bool const isDisk = beginsWithLetter && state.run(alnum) && isWholeName(state, next);
   if (!isDisk)
      state.run(ofName);
   if (state.at == from)
      return false;
   std::string_view const name = state.since(from);
   bool const isFailed = as == NamedAs::device;
   if (!isFailed)
      state.match.fileSystem = name;
   if (!isFailed && state.match.namedAs == NamedAs::device)
      return true;
   state.name(from, isDisk ? Agent::wholeDisk(name) : "", true);
   state.match.namedAs = as;
   return true;
}

inline bool ata(State & state) {
   std::size_t const from = state.at;
   if (!state.text("ata") || !state.run(digits))
      return false;
   std::string const port{state.since(from)};
   bool const good = !state.text(".") || state.run(digits);
   state.name(from, port, false);
   return good;
}

// "1-2.3" behind "usb ", with ":1.0" or "-port4"; "usb1-port4".
inline bool usb(State & state) {
   std::size_t const from = state.at;
   if (!state.text("usb "))
      return false;
   bool const isRoot = state.text("usb");
   std::size_t const bus = state.at;
   if (!state.run(digits))
      return false;
   if (!isRoot && state.text("-") && state.run(digits))
      while (state.text(".") && state.run(digits))
         continue;
   std::string port{state.since(bus)};
   std::size_t const behind = state.at;
   if (state.text("-port")) {
      std::size_t const number = state.at;
      state.run(digits);
      port += (isRoot ? "-" : ".") + std::string{state.since(number)};
   } else if (!(state.text(":") && state.run(digits) && state.text(".") && state.run(digits))) {
      state.at = behind;
   }
   state.name(from, "usb " + port, false);
   return port.find('-') != std::string::npos && isIn(digits, port.back());
}

inline bool card(State & state) {
   std::size_t const from = state.at;
   bool const isDisk = state.text("mmcblk");
   if ((!isDisk && !state.text("mmc")) || !state.run(digits))
      return false;
   state.run(alnum);
   state.name(from, Agent::wholeDisk(state.since(from)), isDisk);
   return true;
}

inline bool nvme(State & state) {
   std::size_t const from = state.at;
   if (!state.text("nvme") || !state.run(digits))
      return false;
   state.name(from, std::string{state.since(from)} + "n1", true);
   return true;
}

inline bool scsi(State & state) {
   std::size_t const from = state.at;
   bool const good = state.run(digits) && state.text(":") && state.run(digits) && state.text(":") &&
                     state.run(digits) && state.text(":") && state.run(digits);
   state.match.address = good ? state.since(from) : state.match.address;
   return good;
}

inline bool tag(State & state) {
   state.run(" ");
   if (state.text("tag#") && !(state.run(digits) && state.run(" ")))
      return false;
   state.match.event = state.rest();
   return true;
}

inline bool anything(State & state, std::string_view next) {
   std::string_view const text = next.substr(0, next.find_first_of("%<"));
   std::size_t const length = text.empty() ? state.rest().size() : state.rest().find(text);
   state.at += length == std::string_view::npos ? 0 : length;
   return length != std::string_view::npos;
}

inline bool token(State & state, std::string_view name, std::string_view next) {
   if (name == "dev")
      return blockDevice(state, next, NamedAs::device);
   if (name == "fs")
      return blockDevice(state, next, NamedAs::fileSystem);
   if (name == "pool")
      return blockDevice(state, next, NamedAs::pool);
   if (name == "any")
      return anything(state, next);
   if (name == "num")
      return (state.text("-"), state.run(digits));
   if (name == "hex")
      return (state.text("0x"), state.run(hexDigits));
   if (name == "name")
      return state.run(ofName);
   if (name == "end")
      return (state.run(" "), state.rest().empty());
   if (name == "event")
      return (state.match.event = state.rest(), true);
   return name == "ata"    ? ata(state)
          : name == "usb"  ? usb(state)
          : name == "card" ? card(state)
          : name == "nvme" ? nvme(state)
          : name == "scsi" ? scsi(state)
                           : tag(state);
}

inline std::string_view tokenAt(std::string_view pattern) {
   for (std::string_view const name : {"dev", "fs", "pool", "ata", "usb", "card", "nvme", "scsi", "tag",
                                       "event", "num", "hex", "name", "any", "end"})
      if (pattern.substr(1).starts_with(name))
         return name;
   std::abort();  // no row has another
}

// Texts and tokens, without alternatives; `behind` is the pattern that follows them.
inline std::optional<State> sequence(State state, std::string_view pattern, std::string_view behind) {
   while (!pattern.empty()) {
      bool const isToken = pattern.front() == '%';
      std::string_view const name = isToken ? tokenAt(pattern) : pattern.substr(0, pattern.find('%'));
      pattern.remove_prefix(name.size() + (isToken ? 1 : 0));
      if (!(isToken ? token(state, name, pattern.empty() ? behind : pattern) : state.text(name)))
         return std::nullopt;
   }
   return state;
}

inline std::optional<State> alternatives(State const & state, std::string_view choices,
                                         std::string_view behind) {
   for (;;) {
      std::size_t const end = std::min(choices.find('|'), choices.size());
      if (auto matched = sequence(state, choices.substr(0, end), behind))
         return matched;
      if (end == choices.size())
         return std::nullopt;
      choices.remove_prefix(end + 1);
   }
}

inline std::optional<State> matched(State state, std::string_view pattern) {
   while (!pattern.empty()) {
      std::size_t const open = std::min(pattern.find('<'), pattern.size());
      auto plain = sequence(std::move(state), pattern.substr(0, open), pattern.substr(open));
      pattern.remove_prefix(open);
      if (!plain || pattern.empty())
         return plain;
      std::size_t const close = pattern.find('>');
      auto chosen = alternatives(*plain, pattern.substr(1, close - 1), pattern.substr(close + 1));
      pattern.remove_prefix(close + 1);
      if (!chosen)
         return std::nullopt;
      state = std::move(*chosen);
   }
   return state;
}

struct Found {
   Agent::KernelMessage const * message = nullptr;
   KernelMatch match = {};
};

inline Found messageOf(std::string_view text) {
   for (auto const groups : Agent::kernelMessages())
      for (auto const & group : groups)
         if (auto const beginning = matched({text}, group.beginning))
            for (auto const & message : group.messages)
               if (auto const whole = matched(*beginning, message.pattern))
                  return {&message, whole->match};
   return {};
}

}  // namespace NaiveKernel
