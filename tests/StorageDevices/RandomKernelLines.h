// Lines of at most 160 bytes for comparing readers of the kernel's log. About a third of them report an
// error.
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <random>
#include <string>
#include <string_view>

namespace StorageDevices {

// Lines made of the pieces that the patterns know, then spoilt. A piece is left out, doubled or put
// elsewhere, so a line nearly matches, or matches in a place nobody thought of.
class RandomKernelLines {
 public:
   explicit RandomKernelLines(std::uint32_t seed) : random_(seed) {}

   std::string next() {
      std::string line = below(5) == 0 ? anything() : "";
      for (std::size_t count = below(3) == 0 ? 2 : 1; count > 0; --count)
         line += start() + message() + (below(4) == 0 ? anything() : "");
      for (std::size_t count = below(2) == 0 ? 1 + below(3) : 0; count > 0; --count)
         spoil(line);
      line.resize(std::min(line.size(), std::size_t(160)));
      return line;
   }

 private:
   static constexpr std::string_view nul{"\0", 1};

   using Texts = std::initializer_list<std::string_view>;

   std::size_t below(std::size_t bound) { return random_() % bound; }

   std::string pick(Texts texts) { return std::string(texts.begin()[below(texts.size())]); }

   // Mostly the first.
   std::string pickFirst(Texts texts) { return below(8) > 0 ? std::string(*texts.begin()) : pick(texts); }

   std::string run(std::string_view characters, std::size_t longest) {
      std::string text;
      for (std::size_t count = 1 + below(longest); count > 0; --count)
         text += characters[below(characters.size())];
      return text;
   }

   std::string digits() { return run("0123456789", 5); }
   std::string word() { return run("abz", 3); }
   std::string space() { return pickFirst({" ", "  ", "\t", "\n", "\r", " \n ", "\v\f", "\r\n\r\n", ""}); }

   std::string start() {
      std::string const separator = pickFirst({".", "1", "]", ":", " ", "\n", "\r", "\x80", "", "\xFF", "."});
      std::string const fraction = below(8) > 0 ? run("0123456789", 6) : digits() + digits();
      return "kernel: [" + pick({"", "", " ", "    ", "\t\n"}) + digits() + separator + fraction + "]" +
             pick({" ", " ", " ", "", "  ", "\n", " \r\n", "\t"});
   }

   std::string device() {
      return pick({"sda", "sdb1", "nvme0n1p2", "dm0", "mmcblk0p1", "sd-a", "dm-0", "", "s\xC3\xA9", "vda"});
   }

   // What ".*" may run over, or must not.
   std::string anything() {
      std::string text;
      for (std::size_t count = below(5); count > 0; --count)
         text += pick({"x",
                       " ",
                       ": ",
                       ":",
                       "(",
                       ")",
                       "[",
                       "{",
                       "}",
                       "]",
                       "1",
                       "\n",
                       "\r",
                       "\x80",
                       "\xE2\x80\xA8",
                       "failed",
                       "error, dev ",
                       "interface fatal error",
                       "Directory bread",
                       "(sda): ",
                       "(b): This should",
                       "(c): Directory bread",
                       "error, dev sdc, sector 7",
                       ": device descriptor read",
                       "kernel: [",
                       "kernel: [1.1]",
                       "usb 1-2",
                       "ata3:",
                       nul});
      return text;
   }

   std::string message() {
      switch (below(9)) {
         case 0:
            return "usb " + digits() + "-" + digits() + anything() + ":" + space() + usbEvent();
         case 1:
            return "ata" + digits() + pick({":", ".00:", ".1:", "::", ":1:", "12:", "\n1:", "\3779:"}) +
                   space() + ataEvent();
         case 2:
            return pick({"mmc0", "mmc0", "mmcblk0", "mmcblk0", "mmc1"}) + ":" + space() + cardEvent();
         case 3:
            return pick({"EXT3-fs", "FAT-fs ", ""}) + anything() + "(" + device() + "):" + space() +
                   fileSystemEvent();
         case 4:
            return "EXT4-fs " + pickFirst({"error", word(), "Error", ""}) + " (device " + device() +
                   "):" + anything();
         case 5:
            return "sd" + space() + digits() + ":" + digits() + ":" + digits() + ":" + digits() + ":" +
                   space() + "[" + pickFirst({"sda", "sdAb", "sdc1", ""}) + "]" +
                   pick({" Unhandled error",
                         "  Sense Key : ", "  Sense Key : ", " Sense Key : ", "   Sense Key : "});
         case 6:
            return "blk_update_request: I/O error, dev " + blockOf(", sector ");
         case 7:
            return "end_request:" + anything() + pickFirst({"error, dev ", "error, dev"}) +
                   blockOf(", sector ") + anything();
         default:
            return "Buffer I/O error on device " + blockOf(", logical block ");
      }
   }

   std::string blockOf(std::string const & label) {
      return device() + pickFirst({label, ", sector", ", block "}) + pickFirst({digits(), "", "x"});
   }

   std::string usbEvent() {
      return pick({"USB disconnect, device number", "USB disconnect, address", "USB disconnect, ",
                   "device descriptor read", "reset " + word() + "-speed USB device number",
                   "reset high-speed USB device number", "reset Super-speed USB device number"});
   }

   std::string ataEvent() {
      std::string const braced =
          "{ " + pick({"", word(), word() + " A9", " ", "a-b"}) + pick({" }", " }", "}"});
      return pick({"SError: " + braced, "error: " + braced, "internal fatal error", "COMRESET failed",
                   "hard resetting link", "failed command:", "failed command",
                   anything() + "interface fatal error"});
   }

   std::string cardEvent() {
      std::string const error = "error -" + digits();
      return pick({"Timeout waiting for hardware", error + " sending status command",
                   error + " transferring data, sector " + digits() + ", nr " + digits() + ", cmd response",
                   error + " transferring data, sector , nr 1, cmd response"});
   }

   std::string fileSystemEvent() {
      return pick({"Remounting filesystem", "This should", "unable to read inode", "FAT read failed",
                   "Filesystem has been set", "Remounting read-only", "Remounting",
                   "Directory bread" + anything() + pick({"failed", "failed", "fail"})});
   }

   void spoil(std::string & line) {
      if (line.empty())
         return;
      std::size_t const from = below(line.size());
      std::size_t const size = 1 + below(below(3) == 0 ? 30 : 3);
      switch (below(6)) {
         case 0:
            line.erase(from, size);
            break;
         case 1:
            line.insert(from, line.substr(below(line.size()), size));
            break;
         case 2:
            line.insert(from, pick({" ", ":", "(", "1", "]", "\n", "\r", "\xFF", nul}));
            break;
         case 3:
            line[from] = static_cast<char>(random_());
            break;
         case 4:
            line.insert(from, line.substr(from, size));
            break;
         default:
            line.insert(from, anything());
      }
   }

   std::mt19937 random_;
};

}  // namespace StorageDevices
