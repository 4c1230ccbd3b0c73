// Ends the program, as a fuzzer wants it, when a parser broke a promise.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                                 \
   do {                                                                                       \
      if (!(condition)) {                                                                     \
         std::fprintf(stderr, "%s:%d: broken promise: %s\n", __FILE__, __LINE__, #condition); \
         std::abort();                                                                        \
      }                                                                                       \
   } while (false)
