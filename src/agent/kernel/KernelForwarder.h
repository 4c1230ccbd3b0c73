// Forwards the kernel's log, from its current end on, to the socket on which kernel messages are read.
//
// Runs on the loop and never stalls it. While the receiver's buffer is full, new records stay in the kernel's
// buffer; records lost there are counted. Lines that programs write into the kernel's log are not forwarded:
// they could report errors that never happened.
#pragma once

#include <unistd.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "agent/config/Config.h"
#include "agent/kernel/KernelLineCounts.h"
#include "agent/kernel/KernelLineRewrite.h"
#include "base/KernelLineSender.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/FileDescriptor.h"
#include "runtime/Vorn/Notifiee.h"

namespace Agent {

class KernelForwarder {
 public:
   // Gets one line for the operator when the log cannot be opened, or cannot be read any more.
   using Notice = std::function<void(std::string const & text)>;

   using Read = ssize_t (*)(int fd, void * buffer, std::size_t size);

   static constexpr char const * kernelLog = "/dev/kmsg";
   // A turn of the loop forwards at most this many lines.
   static constexpr unsigned recordsPerTurn = 64;

   // Begins at the current end of the log, which is standard input where that is /dev/kmsg, else `device`. A
   // log that cannot be opened is reported, and nothing is forwarded. Whether a line is rewritten is asked of
   // `config` each time. Both it and `counts` must outlive this.
   KernelForwarder(Config::KernelMessages const & config, KernelLineCounts & counts, Notice const & notice,
                   std::string const & device = kernelLog);
   // Reads records from `log`, an open non-blocking descriptor, and takes ownership of it. `root` stands for
   // /, where the devices of file systems are looked up.
   KernelForwarder(Config::KernelMessages const & config, KernelLineCounts & counts, Notice notice, int log,
                   Read read = &::read, std::string const & root = "/");
   ~KernelForwarder();

   // Called before each line is sent.
   void beforeLineIs(std::function<void()> call) { beforeLine_ = std::move(call); }

 private:
   bool isReading() const { return log_->descriptor() >= 0; }
   void handleReadable();
   bool readsRecord();
   bool goesOnAfter(int error);
   void handleRecord(std::string_view text);
   void countLost(std::uint64_t sequence);
   void send();
   void stopReading(std::string const & why);

   static constexpr std::size_t recordSize = 8192;  // bytes; the kernel's own limit

   Config::KernelMessages const & config_;
   KernelLineCounts & counts_;
   Notice notice_;
   std::function<void()> beforeLine_ = [] {};
   Read read_;
   Base::KernelLineSender sender_;
   KernelLineRewriter rewriter_;
   std::array<char, recordSize> buffer_{};
   std::string waiting_;  // the line that did not fit into the receiver's buffer
   bool waitingIsRewritten_ = false;
   Vorn::Seconds retryWait_;  // real time
   std::uint64_t nextSequence_ = 0;
   bool wasOverrun_ = false;
   Pelm::Ptr<Vorn::FileDescriptor> log_ = Pelm::make<Vorn::FileDescriptor>("kernel log");
   Vorn::Clock::Notifiee<&KernelForwarder::send> retryClock_{*this, Vorn::Seconds::infinity()};
   Vorn::NotifieeConst reactor_;
};

}  // namespace Agent
