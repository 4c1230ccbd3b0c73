#include "agent/kernel/KernelForwarder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "agent/kernel/KernelFileSystems.h"
#include "agent/kernel/KernelRecord.h"
#include "runtime/Vorn/Shortage.h"
#include "runtime/Vorn/Trace.h"
#include "runtime/host/TimeSource.h"

namespace Agent {

namespace {

Vorn::TraceHandle traceHandle{"KernelForwarder", true};

// Short for a receiver on this loop, which has room after one turn. The wait grows for a slow receiver
// elsewhere.
constexpr Vorn::Seconds firstRetryWait = 0.001;
constexpr Vorn::Seconds longestRetryWait = 0.05;

// A service manager opens the log as standard input with its own rights, where the agent has none to open it.
int inherited() {
   struct stat input {};
   bool const isLog =
       fstat(STDIN_FILENO, &input) == 0 && S_ISCHR(input.st_mode) && input.st_rdev == makedev(1, 11);
   int const fd = isLog ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0) : -1;
   if (fd >= 0)
      fcntl(fd, F_SETFL, O_NONBLOCK);
   return fd;
}

int opened(std::string const & device, KernelForwarder::Notice const & notice) {
   int fd = inherited();
   if (fd < 0)
      fd = open(device.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
   if (fd < 0)
      notice(device + ": cannot be read (" + Vorn::errorAndRemedy(errno) +
             "); no kernel messages are forwarded: allow it, or set kernel_messages.forward_kmsg = false");
   else
      lseek(fd, 0, SEEK_END);
   return fd;
}

}  // namespace

KernelForwarder::KernelForwarder(Config::KernelMessages const & config, KernelLineCounts & counts,
                                 Notice const & notice, std::string const & device)
    : KernelForwarder{config, counts, notice, opened(device, notice)} {}

KernelForwarder::KernelForwarder(Config::KernelMessages const & config, KernelLineCounts & counts,
                                 Notice notice, int log, Read read, std::string const & root)
    : config_{config},
      counts_{counts},
      notice_{std::move(notice)},
      read_{read},
      sender_{config.socket},
      rewriter_{[root](std::string_view device) { return liesOnSeveralDevices(device, root); }},
      retryWait_{firstRetryWait} {
   log_->descriptorIs(log);
   reactor_.notifierIs(log_);
   reactor_.on<&KernelForwarder::handleReadable>(log_->readableCount, *this);
   reactor_.hasNotificationActiveIs(true);
   log_->notifyOnReadableIs(isReading());
}

KernelForwarder::~KernelForwarder() {
   int const fd = log_->descriptor();
   log_->descriptorIs(-1);
   if (fd >= 0)
      close(fd);
}

void KernelForwarder::handleReadable() {
   for (unsigned count = 0; count < recordsPerTurn && waiting_.empty(); ++count)
      if (!readsRecord())
         return;
}

// Answers whether another record may follow.
bool KernelForwarder::readsRecord() {
   ssize_t const size = read_(log_->descriptor(), buffer_.data(), buffer_.size());
   if (size < 0)
      return goesOnAfter(errno);
   if (size == 0) {
      stopReading("the kernel's log has ended");
      return false;
   }
   handleRecord({buffer_.data(), static_cast<std::size_t>(size)});
   return true;
}

bool KernelForwarder::goesOnAfter(int error) {
   if (error == EAGAIN || error == EWOULDBLOCK)
      return false;
   if (error == EPIPE) {
      ++counts_.overruns;
      wasOverrun_ = true;
      VORN_TRACE(traceHandle, 1) << " the kernel's log was overrun.";
      return true;
   }
   if (error == EINTR)
      return true;
   if (error == EINVAL) {  // the record does not fit into the buffer; the next read gives the next record
      ++counts_.dropped;
      VORN_TRACE(traceHandle, 0) << " a record is too long.";
      return true;
   }
   stopReading("the kernel's log cannot be read any more (" + Vorn::errorAndRemedy(error) + ")");
   return false;
}

void KernelForwarder::handleRecord(std::string_view text) {
   auto const record = kernelRecord(text);
   if (!record) {
      VORN_TRACE(traceHandle, 0) << " what was read is no record.";
      return;
   }
   countLost(record->sequence);
   if (record->facility != 0)
      return;
   ++counts_.received;
   std::string const line = kernelLine(*record).substr(0, kernelLineSize);
   waiting_ = config_.modernKernels ? rewriter_.rewritten(line) : line;
   waitingIsRewritten_ = waiting_ != line;
   send();
}

// Sequence numbers have no gaps, except for records that an overrun destroyed.
void KernelForwarder::countLost(std::uint64_t sequence) {
   if (std::exchange(wasOverrun_, false) && nextSequence_ != 0 && sequence > nextSequence_)
      counts_.dropped += sequence - nextSequence_;
   nextSequence_ = sequence + 1;
}

void KernelForwarder::send() {
   beforeLine_();
   auto const outcome = sender_.send(waiting_);
   bool const isFull = outcome == Base::KernelLineSender::Outcome::full;
   log_->notifyOnReadableIs(isReading() && !isFull);
   if (isFull) {
      retryClock_.timeMinIs(Vorn::System::currentTime() + Vorn::Host::timeSource().spanOf(retryWait_));
      retryWait_ = std::min(retryWait_ * 2, longestRetryWait);
      return;
   }
   retryWait_ = firstRetryWait;
   waiting_.clear();
   if (outcome == Base::KernelLineSender::Outcome::dropped) {
      ++counts_.dropped;
      return;
   }
   ++counts_.forwarded;
   counts_.rewritten += waitingIsRewritten_ ? 1 : 0;
}

void KernelForwarder::stopReading(std::string const & why) {
   int const fd = log_->descriptor();
   log_->descriptorIs(-1);
   close(fd);
   notice_(why + "; no kernel messages are forwarded");
}

}  // namespace Agent
