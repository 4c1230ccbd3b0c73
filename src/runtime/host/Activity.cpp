#include "runtime/host/Activity.h"

#include "runtime/Vorn/Breadcrumb.h"

namespace Vorn::Host {

Activity activity() {
   return Vorn::Breadcrumb::instance().read();
}

}  // namespace Vorn::Host
