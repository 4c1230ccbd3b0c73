// What it means that the process or the machine is short of descriptors, processes or memory. The disk that
// was asked for is as good as before, so it is worth trying again.
#pragma once

#include <cerrno>
#include <cstring>
#include <string>

namespace StorageDevices {

// Whether an errno value says so.
inline bool isShortage(int error) {
   return error == EMFILE || error == ENFILE || error == EAGAIN || error == ENOMEM;
}

// What an operator does about it; empty for an error that is no shortage.
inline std::string shortageRemedy(int error) {
   switch (error) {
      case EMFILE:
         return "raise LimitNOFILE= of the service";
      case ENFILE:
         return "raise the kernel's fs.file-max";
      case EAGAIN:
         return "raise TasksMax= and LimitNPROC= of the service";
      case ENOMEM:
         return "raise MemoryMax= of the service or free memory";
      default:
         return {};
   }
}

// The error in words, with its remedy where it is a shortage.
inline std::string errorAndRemedy(int error) {
   std::string const remedy = shortageRemedy(error);
   return std::string{std::strerror(error)} + (remedy.empty() ? "" : "; " + remedy);
}

// How many descriptors libudev, `expr` and the start of a tool take at most at a time.
constexpr int descriptorsPerDevice = 8;

// 0 when that many can be opened now, else why not. libudev does not say so: without a descriptor a property
// or a parent is simply not there.
int descriptorShortage(int count = descriptorsPerDevice);

}  // namespace StorageDevices
