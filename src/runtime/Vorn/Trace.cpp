#include "runtime/Vorn/Trace.h"

#include <locale>

#include "runtime/Vorn/HostSide.h"
#include "runtime/Vorn/TraceLine.h"

namespace Vorn {

TraceHandle::TraceHandle(char const * facility, bool onByDefault) : facility_{facility}, level_{-1} {
   HostSide::facilityAdd(*this, onByDefault ? 0 : -1);
}

TraceHandle::~TraceHandle() {
   HostSide::facilityRemove(*this);
}

TraceHelper::TraceHelper(TraceHandle const & handle, int level, char const * file, int line,
                         char const * function)
    : handle_{handle}, level_{level}, file_{file}, line_{line}, function_{function} {
   stream_.imbue(
       std::locale::classic());  // independent of the host's locale, so that numbers can be searched
}

TraceHelper::~TraceHelper() {
   if (!handle_.enabled(level_))
      return;
   try {
      HostSide::emit(TraceLine{handle_.facility(), level_, file_, line_, function_, stream_.str()});
   } catch (...) {  // A trace that cannot be written, without memory say, is lost; nothing else is.
      return;
   }
}

}  // namespace Vorn
