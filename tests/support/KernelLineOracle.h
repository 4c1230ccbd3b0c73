// The library's expressions as the standard library's matcher reads them: for short lines only.
#pragma once

#include <string>
#include <vector>

#include "StorageDevices/KernelLinePatterns.h"
#include "tests/support/Regex.h"

namespace Support {

// Empty when the line names none.
inline std::string deviceByExpressions(std::string const & line) {
   static std::vector<Regex> const expressions = [] {
      std::vector<Regex> result;
      result.reserve(StorageDevices::kernelLinePatterns.size());
      for (auto const & pattern : StorageDevices::kernelLinePatterns)
         result.emplace_back(pattern.expression);
      return result;
   }();
   for (Regex const & expression : expressions)
      if (auto const match = expression.search(line); !match.empty())
         return std::string{match[1]};
   return {};
}

}  // namespace Support
