#include "StorageDevices/PathPattern.h"

#include <algorithm>

namespace StorageDevices {

std::string pathFromPattern(std::string_view pattern, std::string_view name) {
   std::string path;
   path.reserve(pattern.size() + name.size());
   bool placed = false;
   while (!pattern.empty()) {
      std::size_t const percent = std::min(pattern.find('%'), pattern.size());
      path += pattern.substr(0, percent);
      pattern.remove_prefix(percent);
      if (!placed && pattern.starts_with("%s")) {
         path += name;
         placed = true;
         pattern.remove_prefix(2);
      } else if (!pattern.empty()) {
         path += '%';
         pattern.remove_prefix(pattern.starts_with("%%") ? 2 : 1);
      }
   }
   if (path.size() > maxPathLength)
      path.resize(maxPathLength);
   return path;
}

}  // namespace StorageDevices
