// The model's part for one mount point: the check that it is mounted as it was, and the test of its file
// system.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tests/endurance/Agenda.h"
#include "tests/endurance/World.h"

namespace Endurance {

// What the parts of the model need of the whole.
class ModelUnit {
 public:
   virtual ~ModelUnit() = default;
   virtual Agenda & agenda() = 0;
   virtual PlaceState const & place(Place const & which) const = 0;
   virtual void log(std::string name, std::vector<std::string> arguments) = 0;
   // How messages name the disk there: mount point, serial, model, firmware; all empty without a disk.
   virtual std::vector<std::string> diskAt(Place const & which) const = 0;
};

class ModelFileSystem {
 public:
   ModelFileSystem(ModelUnit & unit, Place const & place);

   // Reasons of the disk that is mounted there. To be called as often as verdicts are evaluated.
   std::vector<std::string> reasons(std::string const & serial);
   // There is no disk.
   void diskIsGone();

 private:
   enum class State { idle, setup, write, read, stopped };
   enum class Result { none, good, notWritten, notRead };

   void check();
   void error(std::string const & text);
   std::string mountFault() const;

   void start();
   void stop();
   void setup();
   void testClock();
   void write();
   void read();
   // Whether the call succeeds now; if not, what follows has happened.
   bool call(std::string const & phase, std::string const & call);
   void hung(std::string const & phase);
   void logged(std::string const & operation, std::string const & text);
   void fail();
   void ends(Result result, bool pause);
   void enter(State state);
   void checkSpace();
   void enterAfterwards(void (ModelFileSystem::*act)());

   ModelUnit & unit_;
   Place const & place_;
   Timer checkClock_;
   int grace_ = 12;  // checks that may find nothing mounted
   std::string device_;

   bool made_ = false;  // the test
   bool running_ = false;
   State state_ = State::idle;
   bool open_ = false;  // its file
   bool good_ = false;  // what was written is there
   unsigned course_ = 0;
   Timer testClock_;
   Timer spaceClock_;
   bool full_ = false;
   unsigned ended_ = 0;  // tests
   Result latest_ = Result::none;

   std::optional<std::string> seenDisk_;
   unsigned seenEnded_ = 0;
   Result seen_ = Result::none;
};

}  // namespace Endurance
