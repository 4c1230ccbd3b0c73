#include "runtime/Vorn/Shortage.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

using Vorn::errorAndRemedy;

TEST(ShortageTest, NamesTheErrorItsCauseAndItsRemedy) {
   EXPECT_EQ(errorAndRemedy(EMFILE),
             "Too many open files; the process has reached its limit of open files: raise LimitNOFILE= of "
             "the service "
             "(ulimit -n)");
   EXPECT_EQ(errorAndRemedy(ENFILE),
             "Too many open files in system; the system has reached its limit of open files: raise "
             "fs.file-max with sysctl");
   EXPECT_EQ(errorAndRemedy(EAGAIN),
             "Resource temporarily unavailable; no further process or thread is allowed: raise TasksMax= and "
             "LimitNPROC= of the service (ulimit -u)");
   EXPECT_EQ(
       errorAndRemedy(ENOMEM),
       "Cannot allocate memory; there is no memory left: free some, or raise MemoryMax= and LimitAS= of the "
       "service (ulimit -v)");
}

TEST(ShortageTest, AddsNothingToOtherErrors) {
   EXPECT_EQ(errorAndRemedy(EACCES), "Permission denied");
   EXPECT_EQ(Vorn::shortageRemedy(EACCES), "");
   EXPECT_FALSE(Vorn::isShortage(EACCES));
   EXPECT_FALSE(Vorn::isShortage(0));
}

TEST(ShortageTest, KeepsTheTextOfAnException) {
   std::system_error const error{EMFILE, std::generic_category(), "eventfd"};
   EXPECT_EQ(errorAndRemedy(error), "eventfd: " + errorAndRemedy(EMFILE));
}

TEST(ShortageTest, HasARemedyForEveryShortage) {
   for (int const error : {EMFILE, ENFILE, EAGAIN, ENOMEM}) {
      EXPECT_TRUE(Vorn::isShortage(error)) << error;
      EXPECT_NE(Vorn::shortageRemedy(error), "") << error;
   }
}

}  // namespace
