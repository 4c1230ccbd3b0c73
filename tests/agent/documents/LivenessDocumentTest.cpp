#include "agent/documents/LivenessDocument.h"

#include <gtest/gtest.h>

namespace Agent {
namespace {

TEST(LivenessDocumentTest, HasNoLastStallWithoutAStall) {
   EXPECT_EQ(
       livenessDocument(0.0001234, {}),
       "{\"status\":\"ok\",\"lastTurnAgeSeconds\":0.000123,\"stalls\":{\"count\":0,\"longestSeconds\":0."
       "0}}\n");
}

TEST(LivenessDocumentTest, ShowsTheStallThatBeganLast) {
   Stalls stalls{2, 93.25, Stall{12.5, "fsync", "/mnt/dri\nve\xff", 1700000000.5}};
   EXPECT_EQ(livenessDocument(0.5, stalls),
             "{\"status\":\"ok\",\"lastTurnAgeSeconds\":0.5,\"stalls\":{\"count\":2,\"longestSeconds\":93.25,"
             "\"last\":{\"seconds\":12.5,\"operation\":\"fsync\",\"path\":\"/mnt/dri\\nve\\\\xff\","
             "\"time\":1700000000.5}}}\n");
   stalls.last->path = "";
   EXPECT_EQ(livenessDocument(0.5, stalls).find("\"path\""), std::string::npos);
}

}  // namespace
}  // namespace Agent
