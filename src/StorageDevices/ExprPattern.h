// Answers as `expr` does whether a pattern matches the beginning of a text, mostly without running it.
//
// A pattern without groups, repeat counts and back references is matched here and, as the tests prove, with
// the same answer. All others are left to `expr` itself, where a pattern that costs without bound harms
// nobody else.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "StorageDevices/CDevsUtil.h"

namespace StorageDevices {

// Whether `expr` need not be run for the pattern.
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
