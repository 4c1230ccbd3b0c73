#include "runtime/Vorn/BlockingCall.h"

#include "runtime/Vorn/Breadcrumb.h"

namespace Vorn {

BlockingCall::BlockingCall(char const * operation, std::string_view path)
    : published_{Breadcrumb::instance().enter(operation, path)} {}

BlockingCall::~BlockingCall() {
   if (published_)
      Breadcrumb::instance().leave();
}

}  // namespace Vorn
