#include "runtime/host/Activity.h"

#include "runtime/Vorn/Breadcrumb.h"

namespace Host {

Activity activity() {
   return Vorn::Breadcrumb::instance().read();
}

}  // namespace Host
