// Matching the lines of the kernel's log beside receiving them, which is the floor. Every line is a datagram
// of a Unix socket. The first contender receives it; the second also reads its device. The last one is the
// whole watcher with its records of devices and its clock.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "Ratio.h"
#include "StorageDevices/Factories.h"
#include "StorageDevices/KernelLine.h"
#include "StorageDevices/SdErrWatcherSm.h"
#include "runtime/host/Log.h"
#include "tests/support/TempDir.h"

namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t roundCount = 1001;
constexpr std::size_t linesPerRound = 100;  // the socket accepts so many before any is read
constexpr std::size_t longest = 1024;

enum class Work { receive, receiveAndMatch };

class Sockets {
 public:
   Sockets() {
      if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, fds_.data()) != 0)
         throw std::runtime_error("cannot make sockets");
      int const size = 1 << 20;
      setsockopt(fds_[0], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
   }
   Sockets(Sockets const &) = delete;
   Sockets & operator=(Sockets const &) = delete;
   ~Sockets() {
      for (int const fd : fds_)
         close(fd);
   }

   void send(std::string const & line) const {
      if (::send(fds_[0], line.data(), line.size(), 0) != static_cast<ssize_t>(line.size()))
         throw std::runtime_error("cannot send a line");
   }

   // Reads all that was sent and answers in how many lines there was a device.
   std::size_t drain(Work work) const {
      std::array<char, longest + 1> buffer{};
      std::size_t devices = 0;
      for (ssize_t size = 0; (size = recv(fds_[1], buffer.data(), longest, 0)) >= 0;) {
         auto const length = static_cast<std::size_t>(size);
         buffer[length] = '\0';
         if (work == Work::receiveAndMatch)
            devices += StorageDevices::deviceInKernelLine({buffer.data(), length}) ? 1 : 0;
      }
      return devices;
   }

 private:
   std::array<int, 2> fds_{};
};

// A watcher of ten disks, and its sender. The two sockets are connected to each other, so the watcher's
// accepts as many lines as those of a pair.
class Watched {
 public:
   Watched() {
      for (int i = 0; i < 10; ++i) {
         std::string const number = std::to_string(i);
         devices_->diskIs(Pelm::String{"SN" + number}, 2,
                          Pelm::String{"/dev/sd" + std::string(1, static_cast<char>('a' + i))}, "", "", "",
                          false, 1, Pelm::String{number}, 256);
      }
      Vorn::Host::logSinkIs([](Vorn::Host::LogMessage const &) {});
      watcher_ = StorageDevices::storageDeviceErrWatcherSmFactory(Pelm::make<StorageDevicesInfo>(), devices_,
                                                                  Pelm::String{address("watcher").sun_path});
      sockaddr_un const mine = address("sender");
      sockaddr_un const its = address("watcher");
      if (bind(fd_, reinterpret_cast<sockaddr const *>(&mine), sizeof mine) != 0 ||
          connect(fd_, reinterpret_cast<sockaddr const *>(&its), sizeof its) != 0 ||
          connect(watcher_->kMsgSockFd(), reinterpret_cast<sockaddr const *>(&mine), sizeof mine) != 0)
         throw std::runtime_error("cannot connect to the watcher");
      int const size = 1 << 20;
      setsockopt(fd_, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
   }
   Watched(Watched const &) = delete;
   Watched & operator=(Watched const &) = delete;
   ~Watched() {
      close(fd_);
      watcher_ = nullptr;
   }

   void send(std::string const & line) const {
      if (::send(fd_, line.data(), line.size(), 0) != static_cast<ssize_t>(line.size()))
         throw std::runtime_error("cannot send a line to the watcher");
   }
   void drain() const { watcher_->handleReadable(watcher_->kMsgSockFd()); }
   bool empty() const {
      char byte = 0;
      return recv(watcher_->kMsgSockFd(), &byte, 1, MSG_PEEK) < 0;
   }

 private:
   sockaddr_un address(char const * name) const {
      sockaddr_un result{};
      result.sun_family = AF_UNIX;
      (folder_.path() / name).string().copy(result.sun_path, sizeof result.sun_path - 1);
      return result;
   }

   Support::TempDir folder_{"/tmp"};  // a short path, for an address
   Pelm::Ptr<StorageDevices::ConnectedDevices> devices_ = Pelm::make<StorageDevices::ConnectedDevices>();
   Pelm::Ptr<StorageDevices::StorageDeviceErrWatcherSm> watcher_;
   int fd_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
};

Bench::Contender watcher(Watched const & watched, Lines const & lines) {
   return [&watched, &lines] {
      for (std::size_t i = 0; i < linesPerRound; ++i)
         watched.send(lines[i % lines.size()]);
      double const seconds = Bench::secondsOf([&] { watched.drain(); });
      if (!watched.empty())
         throw std::runtime_error("the watcher has left lines unread");
      return seconds / static_cast<double>(linesPerRound);
   };
}

// Sending is not timed.
Bench::Contender contender(Sockets const & sockets, Lines const & lines, Work work, bool isFound) {
   return [&sockets, &lines, work, isFound] {
      for (std::size_t i = 0; i < linesPerRound; ++i)
         sockets.send(lines[i % lines.size()]);
      std::size_t devices = 0;
      double const seconds = Bench::secondsOf([&] { devices = sockets.drain(work); });
      if (work == Work::receiveAndMatch && devices != (isFound ? linesPerRound : 0))
         throw std::runtime_error("a line was misread");
      return seconds / static_cast<double>(linesPerRound);
   };
}

void compare(Bench::Report & report, std::string const & name, Lines const & lines, bool isFound,
             double bound) {
   enum : std::size_t { ours, bare, whole };
   Sockets const sockets;
   Watched const watched;
   auto const rounds =
       Bench::compete({contender(sockets, lines, Work::receiveAndMatch, isFound),
                       contender(sockets, lines, Work::receive, isFound), watcher(watched, lines)},
                      roundCount);
   report.claim("kernel lines: " + name + ", beside receiving them", rounds, ours, bare, bound);
   report.claim("kernel lines: " + name + ", the whole watcher", rounds, whole, bare, bound);
}

Lines stamped(Lines const & messages) {
   Lines lines;
   for (std::size_t i = 0; i < messages.size(); ++i)
      lines.push_back("kernel: [" + std::to_string(1000 + i) + ".348201] " + messages[i]);
   return lines;
}

Lines ordinaryLines() {
   return stamped({
       "pci 0000:00:05.0: quirk_usb_early_handoff+0x0/0x760 took 350774 usecs",
       "usb usb1: New USB device found, idVendor=1d6b, idProduct=0002, bcdDevice= 6.01",
       "ata2: SATA link up 1.5 Gbps (SStatus 113 SControl 300)",
       "sd 1:0:0:0: [sda] 1228800 512-byte logical blocks: (629 MB/600 MiB)",
       "EXT4-fs (sda1): mounted filesystem with ordered data mode. Quota mode: none.",
       "eth0: link up",
       "Freeing unused kernel image (rodata/data gap) memory: 1108K",
   });
}

Lines matchingLines() {
   return stamped({
       "usb 1-2: USB disconnect, device number 4",
       "ata1.00: failed command: READ FPDMA QUEUED",
       "ata3: SError: { PHYRdyChg CommWake DevExch }",
       "mmc0: error -110 transferring data, sector 2048, nr 8, cmd response 0x900, card status 0xb00",
       "FAT-fs (sdb1): Directory bread(block 8192) failed",
       "EXT4-fs error (device sda2): ext4_find_entry:1455: inode #2: comm ls: reading directory lblock 0",
       "sd 2:0:0:0: [sdb]  Sense Key : Medium Error [current] ",
       "blk_update_request: I/O error, dev sdb, sector 204800 op 0x0:(READ) flags 0x0 phys_seg 1 prio 0",
       "end_request: critical medium error, dev sdc, sector 64",
       "Buffer I/O error on device sdb1, logical block 25",
   });
}

Lines nearlyMatchingLines() {
   return stamped({
       "usb 1-2: new high-speed USB device number 4 using xhci_hcd: ready: at once",
       "ata1.00: exception Emask 0x0 SAct 0x0 SErr 0x0 action 0x0: interface error",
       "ata3: SError: { PHYRdyChg CommWake DevExch",
       "mmc0: error -110 transferring data, sector 2048, nr 8, command response 0x900",
       "FAT-fs (sdb1): Directory bread(block 8192) succeeded (sdb1): Directory bread(block 8193)",
       "EXT4-fs error (device sda-2): ext4_find_entry:1455: inode #2: comm ls",
       "sd 2:0:0:0: [sdb] tag#0 Sense Key : Medium Error [current] ",
       "blk_update_request: I/O error, dev dm-0, sector 204800 op 0x0:(READ)",
       "end_request: critical medium error, dev sdc, block 64, error, dev sdc, sector",
       "Buffer I/O error on dev sdb1, logical block 25, async page read",
   });
}

struct FilledLine {
   char const * what;
   std::string before;
   std::string repeated;
};

// Lines for which an expression needs quadratic or cubic time, and a reader might too.
std::vector<FilledLine> hostileLines() {
   std::string const stamp = "kernel: [1.1]";
   return {{"starts", "", "kernel: ["},
           {"stamps", "", stamp},
           {"stamps that never end", "", "kernel: [1111111111"},
           {"digits", "kernel: [", "1"},
           {"blanks in a stamp", "kernel: [", " "},
           {"blanks behind a stamp", stamp, " "},
           {"digits of a port", stamp + "ata", "1"},
           {"colons of a port", stamp + "usb 1-1", ":"},
           {"colons and blanks", stamp + "usb 1-1", ": "},
           {"nearly disconnected ports", "", stamp + "usb 1-1: USB disconnect, "},
           {"ports in one line", stamp, "usb 1-1: reset a"},
           {"interface errors that are none", "", stamp + "ata1: interface fatal erro"},
           {"the first letter of an interface error", stamp + "ata1: ", "i"},
           {"braces", "", stamp + "ata1: SError: { a "},
           {"parentheses", stamp + "):", "("},
           {"devices in parentheses", stamp, "(x): "},
           {"directories that did not fail", stamp, "(x): Directory bread"},
           {"directories of the second line", "\n" + stamp, "(x): Directory bread"},
           {"directories and letters", stamp, "(x): Directory breadffffff"},
           {"lines of directories", "", stamp + "(x):\nDirectory bread"},
           {"lines", "", stamp + "\n"},
           {"ports at ends of lines", "", stamp + "ata1:\r"},
           {"ended requests", "", stamp + "end_request:error, dev a, sector "},
           {"errors of requests", stamp + "end_request:", "error, dev a, "},
           {"letters of an ended request", stamp + "end_request:", "e"},
           {"brackets", "", "["},
           {"ends of parentheses and colons", stamp, ") : "},
           {"matching directories", stamp, "(x): Directory breadfailed"},
           {"all patterns at once", "",
            stamp + "usb 1-1: (a): Directory bread" + stamp + "ata1: end_request:error, dev i"}};
}

std::string filled(FilledLine const & line, std::size_t size) {
   std::string text = line.before;
   while (text.size() < size)
      text += line.repeated;
   text.resize(size);
   return text;
}

// The longest that the kernel prints in the ordinary way.
FilledLine longLine() {
   return {"", "kernel: [ 1000.348201] Modules linked in: ",
           "snd_hda_codec_generic i2c_piix4(E) ledtrig_audio(E) "};
}

std::string portOfManyDigits(std::size_t size) {
   std::size_t const third = (size - 21) / 3;
   return "kernel: [11111111]ata" + std::string(third, '1') + std::string(third, ':') +
          std::string(third, ' ');
}

// Lines that differ in what stands before them: of a single one the processor would learn every branch.
Lines variants(std::string const & line) {
   Lines lines;
   for (std::size_t i = 0; i < 16; ++i)
      lines.push_back((std::string(i * 7 % 16, '-') + line).substr(0, line.size()));
   return lines;
}

// Answers how many seconds one line takes.
Bench::Contender matcher(std::string const & line) {
   return [lines = variants(line)] {
      std::size_t bytes = 0;
      double const seconds = Bench::secondsOf([&] {
         for (auto const & variant : lines)
            bytes += StorageDevices::deviceInKernelLine(variant).value_or("").size();
      });
      if (bytes > lines.size() * longest)
         throw std::runtime_error("a device that is longer than its line");
      return seconds / static_cast<double>(lines.size());
   };
}

void compareHostile(Bench::Report & report, std::string const & what, std::string const & half,
                    std::string const & whole) {
   enum : std::size_t { atHalf, atWhole, limit };
   auto const rounds = Bench::compete({matcher(half), matcher(whole), [] { return 25e-6; }}, roundCount);
   report.claim("kernel lines: " + what + ", beside 25 us", rounds, atWhole, limit, 1);
   report.claim("kernel lines: " + what + ", growth from half", rounds, atWhole, atHalf, 2.5);
}

}  // namespace

int main() {
   Bench::Report report;
   compare(report, "ordinary", ordinaryLines(), false, 1.4);
   compare(report, "of another program", {"dhclient[412]: bound to 192.0.2.7 -- renewal in 1443 seconds."},
           false, 1.4);
   compare(report, "ordinary, 1024 bytes", {filled(longLine(), longest)}, false, 1.4);
   compare(report, "matching", matchingLines(), true, 2.5);
   compare(report, "nearly matching", nearlyMatchingLines(), false, 2.5);
   compareHostile(report, "a port of digits, colons, blanks", portOfManyDigits(longest / 2),
                  portOfManyDigits(longest));
   for (auto const & line : hostileLines())
      compareHostile(report, line.what, filled(line, longest / 2), filled(line, longest));
   return report.exitCode();
}
