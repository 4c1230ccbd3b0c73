// Rewriting the lines of the kernel's log beside the floor of forwarding them: reading each record, making
// its line and sending it.
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "Ratio.h"
#include "agent/kernel/KernelLineRewrite.h"
#include "agent/kernel/KernelMessages.h"
#include "agent/kernel/KernelRecord.h"

namespace {

using Lines = std::vector<std::string>;

constexpr std::size_t roundCount = 501;
constexpr std::size_t linesPerRound = 100;  // the socket accepts so many before any is read

// One end for the kernel or the receiver, one for the forwarder.
class Sockets {
 public:
   explicit Sockets(int type) {
      if (socketpair(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) != 0)
         throw std::runtime_error("cannot make sockets");
      int const size = 1 << 20;
      for (int const end : ends)
         setsockopt(end, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
   }
   Sockets(Sockets const &) = delete;
   Sockets & operator=(Sockets const &) = delete;
   ~Sockets() {
      for (int const end : ends)
         close(end);
   }

   void send(std::string const & text) const {
      if (::send(ends[0], text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
         throw std::runtime_error("cannot send");
   }

   std::array<int, 2> ends{};
};

enum class Work { forward, forwardRewritten };

class Forwarding {
 public:
   double secondsPerLine(Lines const & records, Work work) {
      for (std::size_t i = 0; i < linesPerRound; ++i)
         log_.send(records[i % records.size()]);
      double const seconds = Bench::secondsOf([&] { drain(work); });
      std::array<char, 8192> ignored;
      while (recv(receiver_.ends[1], ignored.data(), ignored.size(), 0) >= 0)
         continue;
      return seconds / static_cast<double>(linesPerRound);
   }

 private:
   void drain(Work work) {
      for (ssize_t size = 0; (size = read(log_.ends[1], buffer_.data(), buffer_.size())) > 0;) {
         auto const record = Agent::kernelRecord({buffer_.data(), static_cast<std::size_t>(size)});
         if (!record)
            throw std::runtime_error("no record");
         std::string const line = Agent::kernelLine(*record).substr(0, Agent::kernelLineSize);
         receiver_.send(work == Work::forward ? line : rewriter_.rewritten(line));
      }
   }

   std::array<char, 8192> buffer_{};
   Sockets log_{SOCK_SEQPACKET};
   Sockets receiver_{SOCK_DGRAM};
   Agent::KernelLineRewriter rewriter_;
};

Lines records(Lines const & texts) {
   Lines result;
   for (std::size_t i = 0; i < texts.size(); ++i)
      result.push_back("6," + std::to_string(i) + ",5140900,-;" + texts[i] + "\n");
   return result;
}

void compare(Bench::Report & report, std::string const & name, Lines const & texts, double bound) {
   enum : std::size_t { ours, bare };
   Forwarding forwarding;
   Lines const lines = records(texts);
   auto const rounds =
       Bench::compete({[&] { return forwarding.secondsPerLine(lines, Work::forwardRewritten); },
                       [&] { return forwarding.secondsPerLine(lines, Work::forward); }},
                      roundCount);
   report.claim("kernel lines rewritten: " + name + ", beside forwarding them", rounds, ours, bare, bound);
}

Lines ordinaryTexts() {
   return {"pci 0000:00:05.0: quirk_usb_early_handoff+0x0/0x760 took 350774 usecs",
           "usb usb1: New USB device found, idVendor=1d6b, idProduct=0002, bcdDevice= 6.01",
           "ata2: SATA link up 1.5 Gbps (SStatus 113 SControl 300)",
           "sd 1:0:0:0: [sda] 1228800 512-byte logical blocks: (629 MB/600 MiB)",
           "EXT4-fs (sda1): mounted filesystem with ordered data mode. Quota mode: none.",
           "eth0: link up",
           "Freeing unused kernel image (rodata/data gap) memory: 1108K"};
}

Lines errorTexts() {
   Lines result;
   for (auto const & groups : Agent::kernelMessages())
      for (auto const & group : groups)
         for (auto const & message : group.messages)
            result.emplace_back(message.example);
   return result;
}

// Every beginning of a row and repetitions of its literal parts: the most expensive texts.
Lines hostileTexts() {
   Lines result;
   for (std::string const begun :
        {"BTRFS error (device sda1): ", "EXT4-fs error (device sda1): ", "sd 0:0:0:0: [sda] Add. Sense: ",
         "ata1.00: ", "md/raid1:md0: ", "usb 1-1: reset SuperSpeed ", "nvme nvme0: I/O 1 (",
         "(sda): This should", "nvme0n1: ", "XFS (sda1): ", "kernel: [T1] "})
      for (std::string const repeated :
           {"a", " ", "(sda): ", "error", " on dev /dev/", ") @ LBA ", "<6>", ": "})
         result.emplace_back(begun).append("\1").append(repeated);
   return result;
}

std::string filled(std::string const & text, std::size_t size) {
   std::size_t const mark = text.find('\1');
   std::string line = "kernel: [    5.140900] " + text.substr(0, mark);
   while (line.size() < size)
      line += text.substr(mark + 1);
   line.resize(size);
   return line;
}

Bench::Contender rewriter(std::string const & line) {
   return [line] {
      std::size_t bytes = 0;
      constexpr int count = 16;
      double const seconds = Bench::secondsOf([&] {
         for (int i = 0; i < count; ++i)
            bytes += Agent::rewriteKernelLine(line).size();
      });
      if (bytes == 0)
         throw std::runtime_error("a line is gone");
      return seconds / count;
   };
}

void compareHostile(Bench::Report & report) {
   enum : std::size_t { atHalf, atWhole, limit };
   constexpr std::size_t whole = Agent::kernelLineSize;
   std::string worst;
   double most = 0;
   for (std::string const & text : hostileTexts()) {
      auto const rounds = Bench::compete({rewriter(filled(text, whole))}, 21);
      if (rounds.time(0) > most) {
         most = rounds.time(0);
         worst = text;
      }
   }
   auto const rounds = Bench::compete(
       {rewriter(filled(worst, whole / 2)), rewriter(filled(worst, whole)), [] { return 50e-6; }},
       roundCount);
   std::string const name = "kernel lines rewritten: the worst, " + worst.substr(0, worst.find('\1')) + "...";
   report.claim(name + ", beside 50 us", rounds, atWhole, limit, 1);
   report.claim(name + ", growth from half", rounds, atWhole, atHalf, 2.5);
}

}  // namespace

int main() {
   Bench::Report report;
   compare(report, "ordinary", ordinaryTexts(), 2.5);
   compare(report, "every error of the table", errorTexts(), 4);
   compareHostile(report);
   return report.exitCode();
}
