// The library's expressions as the standard library's matcher reads them: for short lines only.
#pragma once

#include <regex>
#include <string>
#include <vector>

#include "StorageDevices/KernelLinePatterns.h"

namespace Support {

// Empty when the line names none.
inline std::string deviceByExpressions(std::string const & line) {
   static std::vector<std::regex> const expressions = [] {
      std::vector<std::regex> result;
      result.reserve(StorageDevices::kernelLinePatterns.size());
      for (auto const & pattern : StorageDevices::kernelLinePatterns)
         result.emplace_back(pattern.expression);
      return result;
   }();
   std::smatch match;
   for (std::regex const & expression : expressions)
      if (std::regex_search(line, match, expression))
         return match[1];
   return {};
}

}  // namespace Support
