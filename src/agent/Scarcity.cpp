#include "agent/Scarcity.h"

#include <cerrno>

namespace Agent {

namespace {

constexpr char moreDescriptors[] = "raise the limit with ulimit -n or LimitNOFILE= of the systemd unit";

std::string remedy(int error) {
   switch (error) {
      case EMFILE:
         return std::string{"; the process has as many descriptors as it may: "} + moreDescriptors;
      case ENFILE:
         return "; the system has as many files open as it can: raise fs.file-max with sysctl";
      case EAGAIN:
         return "; no further process or thread is allowed: raise the limit with ulimit -u, or LimitNPROC= "
                "and "
                "TasksMax= of the systemd unit";
      case ENOMEM:
         return "; there is no more memory: free some, or raise the limit with ulimit -v or MemoryMax= of "
                "the "
                "systemd unit";
      default:
         return {};
   }
}

}  // namespace

std::string explained(int error) {
   return std::generic_category().message(error) + remedy(error);
}

std::string explained(std::system_error const & error) {
   return error.what() + remedy(error.code().value());
}

std::string memoryExhausted() {
   return "an allocation failed" + remedy(ENOMEM);
}

std::optional<std::string> descriptorsLine(unsigned long allowed) {
   if (allowed >= fewDescriptors)
      return std::nullopt;
   return "no more than " + std::to_string(allowed) +
          " descriptors may be open, which is too few to watch disks: " + moreDescriptors + ", to " +
          std::to_string(fewDescriptors) + " at the least";
}

}  // namespace Agent
