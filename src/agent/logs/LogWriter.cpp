#include "agent/logs/LogWriter.h"

#include <poll.h>
#include <syslog.h>

#include <condition_variable>
#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "agent/logs/LogQueue.h"

namespace Agent {

namespace {

constexpr std::chrono::seconds absencePause{1};
// So soon a stalled destination notices that the log ends.
constexpr int stallPauseMs = 100;
constexpr std::chrono::milliseconds threadPatience{250};

std::string reportText(std::uint64_t count, LogSink const & sink) {
   std::string const lines = count == 1 ? "1 line was" : std::to_string(count) + " lines were";
   return lines + " dropped because " + sink.name() + " did not accept " + (count == 1 ? "it" : "them") +
          " in time";
}

}  // namespace

// What callers and the thread share.
class LogWriter::Delivery {
 public:
   Delivery(std::unique_ptr<LogSink> sink, std::unique_ptr<LogSink> substitute)
       : sink_{std::move(sink)}, substitute_{std::move(substitute)}, queue_{[this](auto count, auto utc) {
            return sink_->formOf(noticeEntry(LOG_WARNING, reportText(count, *sink_), utc));
         }} {}

   void add(LogEntry const & entry);
   std::uint64_t dropped() const;
   // Sends what the destination accepts at once, unless another thread does.
   void send() noexcept;
   bool isFlushedWithin(std::chrono::milliseconds limit);
   // Reports lines that nobody will send any more.
   void reportUndelivered() noexcept;

   // The thread's work, until `stop`.
   void run() noexcept;
   void stop();
   bool hasEndedWithin(std::chrono::milliseconds limit);

 private:
   using Lock = std::unique_lock<std::mutex>;
   using Outcome = LogSink::Outcome;

   bool isFlushed() const { return queue_.empty() && !inHand_; }
   Outcome sendAll(Lock & lock) noexcept;
   Outcome sendEach(Lock & lock);
   void reportAbsence(Lock & lock);
   void substituteNotice(std::string const & text, Lock & lock);
   void waitAfter(Outcome outcome, Lock & lock);

   std::unique_ptr<LogSink> sink_;
   std::unique_ptr<LogSink> substitute_;
   mutable std::mutex mutex_;  // of what follows; locked for moments, and never while a line is sent
   std::condition_variable added_;
   std::condition_variable changed_;
   LogQueue queue_;
   std::optional<LogQueue::Line> inHand_;  // the next line to send
   Vorn::Seconds addedAt_;                 // when the latest line was logged
   bool isSending_ = false;
   bool isAbsent_ = false;         // in the latest attempt
   bool absenceReported_ = false;  // of that absence
   bool isFlushing_ = false;       // an attempt is asked for
   bool isStopping_ = false;
   bool hasEnded_ = false;
};

void LogWriter::Delivery::add(LogEntry const & entry) {
   LogQueue::Line line{sink_->formOf(entry), entry.utc};
   Lock const lock{mutex_};
   addedAt_ = entry.utc;
   queue_.add(std::move(line));
   added_.notify_one();
}

std::uint64_t LogWriter::Delivery::dropped() const {
   Lock const lock{mutex_};
   return queue_.dropped();
}

void LogWriter::Delivery::send() noexcept {
   Lock lock{mutex_};
   sendAll(lock);
}

void LogWriter::Delivery::run() noexcept {
   Lock lock{mutex_};
   while (!isStopping_)
      waitAfter(sendAll(lock), lock);
   lock.unlock();
   reportUndelivered();
   lock.lock();
   hasEnded_ = true;
   changed_.notify_all();
}

// Where memory ends, the lines wait like those for a missing collector.
LogSink::Outcome LogWriter::Delivery::sendAll(Lock & lock) noexcept {
   if (isSending_)
      return Outcome::full;
   isSending_ = true;
   isFlushing_ = false;
   Outcome outcome = Outcome::absent;
   try {
      outcome = sendEach(lock);
      if (outcome == Outcome::absent && !absenceReported_)
         reportAbsence(lock);
   } catch (std::exception const &) {
   }
   isSending_ = false;
   isAbsent_ = outcome == Outcome::absent;
   changed_.notify_all();
   return outcome;
}

LogSink::Outcome LogWriter::Delivery::sendEach(Lock & lock) {
   while (inHand_ || (inHand_ = queue_.take())) {
      lock.unlock();
      Outcome const outcome = sink_->send(inHand_->bytes);
      lock.lock();
      if (outcome != Outcome::absent)
         absenceReported_ = false;
      if (outcome == Outcome::refused)
         queue_.drop(*inHand_);
      if (outcome == Outcome::sent || outcome == Outcome::refused)
         inHand_.reset();
      if (outcome != Outcome::sent)
         return outcome;
   }
   return Outcome::sent;
}

void LogWriter::Delivery::reportAbsence(Lock & lock) {
   substituteNotice(std::string{sink_->name()} + " does not accept lines of the log: " + sink_->absence() +
                        "; start it, or set log.destination to another; up to " +
                        std::to_string(LogQueue::mostLines) + " lines wait for it",
                    lock);
   absenceReported_ = true;
}

// The time is that of the latest line: only callers know what time it is.
void LogWriter::Delivery::substituteNotice(std::string const & text, Lock & lock) {
   if (!substitute_)
      return;
   std::string const line = substitute_->formOf(noticeEntry(LOG_WARNING, text, addedAt_));
   lock.unlock();
   substitute_->send(line);
   lock.lock();
}

void LogWriter::Delivery::waitAfter(Outcome outcome, Lock & lock) {
   if (outcome == Outcome::sent) {
      added_.wait(lock, [this] { return isStopping_ || !queue_.empty(); });
   } else if (outcome == Outcome::full) {
      lock.unlock();
      pollfd room{sink_->descriptor(), POLLOUT, 0};
      poll(&room, 1, stallPauseMs);
      lock.lock();
   } else {
      added_.wait_for(lock, absencePause, [this] { return isStopping_ || isFlushing_; });
   }
}

bool LogWriter::Delivery::isFlushedWithin(std::chrono::milliseconds limit) {
   Lock lock{mutex_};
   isFlushing_ = true;
   isAbsent_ = false;
   added_.notify_one();
   changed_.wait_for(lock, limit, [this] { return isFlushed() || isAbsent_; });
   return isFlushed();
}

void LogWriter::Delivery::stop() {
   Lock const lock{mutex_};
   isStopping_ = true;
   added_.notify_one();
}

bool LogWriter::Delivery::hasEndedWithin(std::chrono::milliseconds limit) {
   Lock lock{mutex_};
   return changed_.wait_for(lock, limit, [this] { return hasEnded_; });
}

void LogWriter::Delivery::reportUndelivered() noexcept {
   try {
      Lock lock{mutex_};
      if (std::size_t const count = queue_.size() + (inHand_ ? 1 : 0); count > 0)
         substituteNotice("the log ends; " + reportText(count, *sink_), lock);
   } catch (std::exception const &) {  // no memory for a last line
   }
}

LogWriter::LogWriter(std::unique_ptr<LogSink> sink, std::unique_ptr<LogSink> substitute)
    : delivery_{std::make_shared<Delivery>(std::move(sink), std::move(substitute))} {
   hasThread();
}

LogWriter::~LogWriter() {
   flush(endPatience);
   delivery_->stop();
   if (!thread_)
      delivery_->reportUndelivered();
   else if (!delivery_->hasEndedWithin(threadPatience))
      thread_->detach();
}

void LogWriter::add(LogEntry const & entry) {
   delivery_->add(entry);
   if (!hasThread())
      delivery_->send();
}

std::uint64_t LogWriter::dropped() const {
   return delivery_->dropped();
}

bool LogWriter::flush(std::chrono::milliseconds limit) {
   bool const sends = hasThread();
   if (!sends)
      delivery_->send();
   return delivery_->isFlushedWithin(sends ? limit : std::chrono::milliseconds{0});
}

bool LogWriter::hasThread() {
   std::lock_guard const lock{starting_};
   try {
      if (!thread_)
         thread_.emplace([delivery = delivery_] { delivery->run(); });
   } catch (std::exception const &) {  // the next line tries again
   }
   return thread_.has_value();
}

}  // namespace Agent
