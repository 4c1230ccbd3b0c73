// A house, and the list of what its watchers were notified of.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/runtime/House.h"

namespace RuntimeTest {

using Events = std::vector<std::string>;

class DeliveryTest : public testing::Test {
 protected:
   Pelm::Ptr<House> house = Pelm::make<House>();
   Events events;
};

}  // namespace RuntimeTest
