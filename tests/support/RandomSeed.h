// The seed of a test on random inputs. It is printed, so that a failure can be repeated; the variable
// STORAGEDEVICES_TEST_SEED replaces it, so that other inputs can be tried.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

namespace Support {

inline std::uint32_t randomSeed(std::uint32_t usual) {
   char const * const other = std::getenv("STORAGEDEVICES_TEST_SEED");
   std::uint32_t const seed = other ? static_cast<std::uint32_t>(std::stoul(other)) : usual;
   std::cout << "random inputs from STORAGEDEVICES_TEST_SEED=" << seed << '\n';
   return seed;
}

}  // namespace Support
