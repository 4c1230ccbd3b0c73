#include "runtime/Vorn/Shortage.h"

#include <algorithm>
#include <array>
#include <cerrno>

namespace Vorn {

namespace {

struct Shortage {
   int error;
   char const * cause;
   char const * remedy;
};

constexpr std::array shortages{
    Shortage{EMFILE, "the process has reached its limit of open files",
             "raise LimitNOFILE= of the service (ulimit -n)"},
    Shortage{ENFILE, "the system has reached its limit of open files", "raise fs.file-max with sysctl"},
    Shortage{EAGAIN, "no further process or thread is allowed",
             "raise TasksMax= and LimitNPROC= of the service (ulimit -u)"},
    Shortage{ENOMEM, "there is no memory left",
             "free some, or raise MemoryMax= and LimitAS= of the service (ulimit -v)"},
};

Shortage const * shortageOf(int error) {
   auto const found = std::find_if(shortages.begin(), shortages.end(),
                                   [error](Shortage const & shortage) { return shortage.error == error; });
   return found == shortages.end() ? nullptr : &*found;
}

std::string withRemedy(std::string text, int error) {
   if (Shortage const * const shortage = shortageOf(error))
      text.append("; ").append(shortage->cause).append(": ").append(shortage->remedy);
   return text;
}

}  // namespace

bool isShortage(int error) {
   return shortageOf(error) != nullptr;
}

std::string shortageRemedy(int error) {
   Shortage const * const shortage = shortageOf(error);
   return shortage ? shortage->remedy : "";
}

std::string errorAndRemedy(int error) {
   return withRemedy(std::generic_category().message(error), error);
}

std::string errorAndRemedy(std::system_error const & error) {
   return withRemedy(error.what(), error.code().value());
}

}  // namespace Vorn
