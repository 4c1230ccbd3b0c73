// Aborts the program, for the fuzzer, when a parser violates a condition.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                           \
   do {                                                                                 \
      if (!(condition)) {                                                               \
         std::fprintf(stderr, "%s:%d: violated: %s\n", __FILE__, __LINE__, #condition); \
         std::abort();                                                                  \
      }                                                                                 \
   } while (false)
