// Answers like `expr` whether a pattern matches the beginning of a text, mostly without running it.
//
// A pattern without groups, repeat counts and back references is matched here; the tests compare the answers.
// Others are left to `expr`: a pattern of unbounded cost then burdens a process of its own.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "StorageDevices/CDevsUtil.h"

namespace StorageDevices {

// Whether the pattern can be matched without `expr`.
bool isPlainPattern(std::string const & pattern);

// Compiles every pattern once.
class ExprPatterns {
 public:
   ExprPatterns();
   ExprPatterns(ExprPatterns const &) = delete;
   ExprPatterns & operator=(ExprPatterns const &) = delete;
   ~ExprPatterns();

   CDevsUtil::ExprAnswer ask(char const * string, char const * pattern);

 private:
   class Compiled;
   std::unordered_map<std::string, std::unique_ptr<Compiled>> compiled_;
};

}  // namespace StorageDevices
