#include "runtime/Brul/PipedChildProcessSm.h"

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "runtime/Vorn/ActivityManager.h"
#include "runtime/Vorn/HostSide.h"
#include "runtime/Vorn/KernelClock.h"
#include "runtime/Vorn/Process.h"
#include "runtime/Vorn/Shortage.h"
#include "runtime/Vorn/Trace.h"

namespace Brul {

namespace {

Vorn::TraceHandle traceHandle{"BrulPipedChildProcessSm", true};

constexpr auto timeLimitPassed = "it exceeded its time limit";
constexpr auto lastRunIsStuck = "its last run exceeded the time limit and cannot be ended";
constexpr int cannotRun = 127;             // the exit code of shells for it
constexpr Vorn::Seconds grace = 0.5;       // for a grandchild that keeps an output open
constexpr Vorn::Seconds killAfter = 2;     // between the request to terminate and the kill
constexpr Vorn::Seconds abandonAfter = 1;  // between the kill and giving up on its death

}  // namespace

Pelm::Ptr<PipedChildProcessSm> PipedChildProcessSm::PipedChildProcessSmIs(
    Pelm::Ptr<ChildProcessTrackerSm> const & tracker) {
   return Pelm::make<PipedChildProcessSm>(tracker);
}

PipedChildProcessSm::PipedChildProcessSm(Pelm::Ptr<ChildProcessTrackerSm> tracker)
    : tracker_{std::move(tracker)} {
   stdoutReactor_.notifierIs(stdout_.end());
   stdoutReactor_.on<&PipedChildProcessSm::handleStdout>(stdout_.end()->readableCount, *this);
   stderrReactor_.notifierIs(stderr_.end());
   stderrReactor_.on<&PipedChildProcessSm::handleStderr>(stderr_.end()->readableCount, *this);
   exitReactor_.notifierIs(exit_);
   exitReactor_.on<&PipedChildProcessSm::handleExit>(exit_->readableCount, *this);
   deadlineClock_.hasNotificationActiveIs(false);
}

PipedChildProcessSm::~PipedChildProcessSm() {
   exit_->descriptorIs(-1);
   if (process_.exists())
      Vorn::activityManager().outsideWorkInc(-1);
   process_.abandon(*tracker_);
}

void PipedChildProcessSm::vornDoZombieReactors(bool zombie) {
   hasNotificationActiveIs(!zombie);
}

void PipedChildProcessSm::hasNotificationActiveIs(bool active) {
   stdoutReactor_.hasNotificationActiveIs(active);
   stderrReactor_.hasNotificationActiveIs(active);
   exitReactor_.hasNotificationActiveIs(active);
   deadlineClock_.hasNotificationActiveIs(active);
   // A ready descriptor that is not read would keep the loop busy.
   stdout_.end()->notifyOnReadableIs(active);
   stderr_.end()->notifyOnReadableIs(active);
   exit_->notifyOnReadableIs(active);
}

void PipedChildProcessSm::argPush(Pelm::String value) {
   arg.push(std::move(value));
}
void PipedChildProcessSm::argPop() {
   arg.pop();
}
void PipedChildProcessSm::argPopAll() {
   arg.popAll();
}
void PipedChildProcessSm::argIs(std::size_t index, Pelm::String value) {
   arg.elementIs(index, std::move(value));
}
void PipedChildProcessSm::stateIs(State value) {
   state.valueIs(value);
}

void PipedChildProcessSm::start(bool captureStdout, bool captureStderr) {
   if (state() != State::idle)
      return;
   startedAt_ = Vorn::kernelTime(CLOCK_MONOTONIC);
   argv_.assign(arg.begin(), arg.end());
   substituted_ = tracker_->substituted(argv_);
   if (substituted_) {
      startSubstituted(substituted_->duration);
   } else if (tracker_->hasStuckRun(argv_)) {
      timedOut_ = true;
      reasonIs(lastRunIsStuck);
      deadlineIs(Deadline::stuck, 0);
   } else if (!launch(captureStdout, captureStderr)) {
      startError_ = errno;
      reasonIs(Pelm::String{Vorn::errorAndRemedy(startError_)});
      stdout_.closeEnd();
      stderr_.closeEnd();
      deadlineIs(Deadline::cannotStart, 0);
   } else if (tracker_->timeLimit() > 0) {
      deadlineIs(Deadline::timeLimit, tracker_->timeLimit());
   }
   stateIs(State::running);
}

void PipedChildProcessSm::startSubstituted(Vorn::Seconds duration) {
   Vorn::Seconds const limit = tracker_->timeLimit();
   timedOut_ = limit > 0 && duration > limit;
   deadline_ = Deadline::substituted;
   deadlineClock_.timeMinIs(Vorn::System::currentTime() + (timedOut_ ? limit : duration));
}

void PipedChildProcessSm::endSubstituted() {
   SubstitutedRun run = std::move(*substituted_);
   stdout_.outputIs(std::move(run.standardOutput));
   stderr_.outputIs(std::move(run.standardError));
   char const * const loss = stdout_.lossReason() ? stdout_.lossReason() : stderr_.lossReason();
   if (timedOut_ || loss) {
      reasonIs(timedOut_ ? timeLimitPassed : loss);
      end(timedOut_ ? -SIGTERM : -SIGKILL, true);
   } else {
      end(run.exitCode, tracker_->isFailure(argv_.front(), run.exitCode));
   }
}

bool PipedChildProcessSm::launch(bool captureStdout, bool captureStderr) {
   int const out = captureStdout ? stdout_.open() : -1;
   int const err = captureStderr ? stderr_.open() : -1;
   if ((captureStdout && out < 0) || (captureStderr && err < 0)) {
      int const error = errno;
      for (int const fd : {out, err})
         if (fd >= 0)
            close(fd);
      errno = error;
      return false;
   }
   if (!process_.start(argv_, tracker_->toolPath(), out, err))
      return false;
   Vorn::activityManager().outsideWorkInc(1);
   tracker_->runningIs(process_.pid());
   exit_->descriptorIs(process_.pidfd());
   return true;
}

void PipedChildProcessSm::handleStdout() {
   handleOutput(stdout_);
}

void PipedChildProcessSm::handleStderr() {
   handleOutput(stderr_);
}

void PipedChildProcessSm::handleOutput(OutputPipe & output) {
   output.read();
   if (output.lossReason())
      giveUp(output.lossReason());
   else
      maybeEnd();
}

void PipedChildProcessSm::handleExit() {
   // It stays a zombie until the run is over, so that its process group keeps its number.
   exit_->descriptorIs(-1);
   exited_ = true;
   if (!timedOut_)
      deadlineIs(Deadline::grace, grace);
   maybeEnd();
}

void PipedChildProcessSm::handleDeadline() {
   switch (std::exchange(deadline_, Deadline::none)) {
      case Deadline::none:
         break;
      case Deadline::cannotStart:
         end(cannotRun, true);
         break;
      case Deadline::stuck:
         end(-SIGKILL, true);
         break;
      case Deadline::substituted:
         endSubstituted();
         break;
      case Deadline::grace:
         process_.signalGroup(SIGKILL);
         stdout_.closeEnd();
         stderr_.closeEnd();
         maybeEnd();
         break;
      case Deadline::timeLimit:
         timedOut_ = true;
         VORN_TRACE(traceHandle, 0) << " " << argv_.front() << " passed its time limit of "
                                    << tracker_->timeLimit() << " s";
         process_.signalGroup(SIGTERM);
         deadlineIs(Deadline::kill, killAfter);
         break;
      case Deadline::kill:
         process_.signalGroup(SIGKILL);
         deadlineIs(Deadline::abandon, abandonAfter);
         break;
      case Deadline::abandon:
         giveUp(timeLimitPassed);
         break;
   }
}

void PipedChildProcessSm::maybeEnd() {
   if (!exited_ || stdout_.isOpen() || stderr_.isOpen())
      return;
   tracker_->runningDel(process_.pid());
   int const exitCode = process_.reap();
   Vorn::activityManager().outsideWorkInc(-1);
   if (timedOut_)
      reasonIs(timeLimitPassed);
   end(exitCode, timedOut_ || tracker_->isFailure(argv_.front(), exitCode));
}

void PipedChildProcessSm::giveUp(char const * reason) {
   stdout_.closeEnd();
   stderr_.closeEnd();
   exit_->descriptorIs(-1);
   reasonIs(reason);
   process_.abandon(*tracker_, timedOut_ ? argv_ : std::vector<Pelm::String>{});
   Vorn::activityManager().outsideWorkInc(-1);
   end(-SIGKILL, true);
}

void PipedChildProcessSm::reasonIs(Pelm::String reason) {
   reason_ = std::move(reason);
   stderr_.textIs((argv_.empty() ? "(no program)" : argv_.front().str()) + ": " + reason_.str());
}

void PipedChildProcessSm::end(int exitCode, bool failed) {
   deadlineIs(Deadline::none, Vorn::Seconds::infinity());
   exitCode_ = exitCode;
   auto const run = Pelm::make<FinishedRun>();
   run->argv = argv_;
   run->exitCode = exitCode;
   run->failed = failed;
   run->timedOut = timedOut_;
   run->reason = reason_;
   run->duration = Vorn::kernelTime(CLOCK_MONOTONIC) - startedAt_;
   finishedRun_ = run;
   stateIs(failed ? State::failed : State::finished);
   tracker_->finishedRunIs(run);
}

void PipedChildProcessSm::deadlineIs(Deadline what, Vorn::Seconds realSpan) {
   deadline_ = what;
   Vorn::Seconds const span = Vorn::HostSide::spanOf(realSpan);
   deadlineClock_.timeMinIs(what == Deadline::none ? Vorn::Seconds::infinity()
                                                   : Vorn::System::currentTime() + span);
}

}  // namespace Brul
