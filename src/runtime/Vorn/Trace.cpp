#include "runtime/Vorn/Trace.h"

#include "runtime/host/Trace.h"

namespace Vorn {

TraceHandle::TraceHandle(char const * facility, bool onByDefault) : facility_{facility}, level_{-1} {
   Host::detail::facilityAdd(*this, onByDefault ? 0 : -1);
}

TraceHandle::~TraceHandle() {
   Host::detail::facilityRemove(*this);
}

TraceHelper::~TraceHelper() {
   try {
      Host::detail::emit({handle_.facility(), level_, file_, line_, function_, stream_.str()});
   } catch (...) {  // A trace that cannot be written, for want of memory say, is lost; nothing else is.
      return;
   }
}

}  // namespace Vorn
