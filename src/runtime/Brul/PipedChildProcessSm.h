// One run of a command, its standard output and error captured through pipes.
//
// States: idle (not started); running; finished (succeeded); failed. A run fails when it cannot be started,
// or ends with a failure code or by a signal. It also fails when it writes more than 4 MiB or than fits into
// memory, or exceeds the tracker's time limit.
//
// A run is over when the process has ended and both outputs are at their end. A grandchild may keep an output
// open; half a second after the end of the process the rest of its group is killed. The end is always
// published in a later turn of the loop than the start. Dropping a running object kills its group.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "runtime/Brul/ChildProcess.h"
#include "runtime/Brul/ChildProcessTrackerSm.h"
#include "runtime/Brul/OutputPipe.h"
#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Clock.h"
#include "runtime/Vorn/EnumType.h"
#include "runtime/Vorn/Notifiee.h"
#include "runtime/Vorn/Queue.h"

namespace Brul {

class VORN_API PipedChildProcessSm : public Pelm::Node {
 public:
   class State : public Vorn::EnumType<unsigned char, State> {
    public:
      enum Value : unsigned char { idle = 0, running = 1, failed = 2, finished = 3 };
      static constexpr Vorn::EnumName<unsigned char> names[] = {
          {idle, "idle"}, {running, "running"}, {failed, "failed"}, {finished, "finished"}};
      using EnumType::EnumType;
   };

   static Pelm::Ptr<PipedChildProcessSm> PipedChildProcessSmIs(
       Pelm::Ptr<ChildProcessTrackerSm> const & tracker);
   ~PipedChildProcessSm() override;

   // Once idle is left it is never entered again: one object, one run.
   Vorn::Attribute<State, PipedChildProcessSm> state{*this, "state", State::idle};

   // The command line. Its first element is the program, searched on the tracker's tool path and PATH; no
   // shell reads it. `start` copies it, and later changes have no effect. `argIs` and `argPop` raise as Queue
   // says.
   Vorn::Queue<Pelm::String, PipedChildProcessSm> arg{*this, "arg"};
   void argPush(Pelm::String value);
   void argPop();
   void argPopAll();
   void argIs(std::size_t index, Pelm::String value);

   // Starts the command and returns without waiting for it. An output that is not captured goes to /dev/null.
   // Does nothing unless idle. A command that cannot be started is running, too, until a later turn.
   void start(bool captureStdout, bool captureStderr);

   // Whether the run's progress is read and published; off at first. While it is off the run does not end,
   // not even at its time limit.
   void hasNotificationActiveIs(bool active);
   bool hasNotificationActive() const { return exitReactor_.hasNotificationActive(); }

   // What the tracker publishes of the run; null until it is over.
   Pelm::Ptr<FinishedRun const> const & finishedRun() const { return finishedRun_; }
   // Valid when the run is over. Minus the signal that ended it; 127: it could not be run.
   int exitCode() const { return exitCode_; }
   // The errno value of a command that could not be started, else 0. ENOENT: there is no such program.
   int startError() const { return startError_; }
   // Any bytes, 4 MiB at most; grows while the command runs. Empty if it was lost.
   std::string const & stdoutBuffer() const { return stdout_.text(); }
   // The standard error; or the reason, for a run that could not be started or was ended at a limit.
   Pelm::String stderrString() const { return Pelm::String{stderr_.text()}; }

   void vornDoZombieReactors(bool zombie) override;

 private:
   explicit PipedChildProcessSm(Pelm::Ptr<ChildProcessTrackerSm> tracker);
   template <class T, class... Args>
   friend Pelm::Ptr<T> Pelm::make(Args &&... args);

   void stateIs(State value);
   void startSubstituted(Vorn::Seconds duration);
   void endSubstituted();
   bool launch(bool captureStdout, bool captureStderr);
   void handleStdout();
   void handleStderr();
   void handleOutput(OutputPipe & output);
   void handleExit();
   void handleDeadline();
   void maybeEnd();
   void end(int exitCode, bool failed);
   void giveUp(char const * reason);
   void reasonIs(Pelm::String reason);

   enum class Deadline { none, cannotStart, stuck, substituted, timeLimit, kill, abandon, grace };
   void deadlineIs(Deadline what, Vorn::Seconds realSpan);

   Pelm::Ptr<ChildProcessTrackerSm> tracker_;
   std::vector<Pelm::String> argv_;             // of the run; `arg` may change meanwhile
   std::optional<SubstitutedRun> substituted_;  // its outcome, if no process makes it
   ChildProcess process_;
   OutputPipe stdout_{"stdout"};
   OutputPipe stderr_{"stderr"};
   Pelm::Ptr<Vorn::FileDescriptor> exit_ = Pelm::make<Vorn::FileDescriptor>("child");
   bool exited_ = false;
   bool timedOut_ = false;
   Pelm::String reason_;  // why it could not be run or was ended
   int exitCode_ = 0;
   Pelm::Ptr<FinishedRun const> finishedRun_;
   int startError_ = 0;
   Vorn::Seconds startedAt_;  // real monotonic time
   Deadline deadline_ = Deadline::none;

   Vorn::Clock::Notifiee<&PipedChildProcessSm::handleDeadline> deadlineClock_{*this,
                                                                              Vorn::Seconds::infinity()};
   Vorn::NotifieeConst stdoutReactor_;
   Vorn::NotifieeConst stderrReactor_;
   Vorn::NotifieeConst exitReactor_;
};

}  // namespace Brul
