#include <gtest/gtest.h>

#include <string>

#include "foundation/Log.h"
#include "tests/foundation/ClockStandIn.h"
#include "tests/foundation/LogCapture.h"

namespace Log {
namespace {

using vorn::testing::gMonotonicNanoseconds;
using vorn::testing::kMonotonicAtLoad;

std::string VerboseLineAt(std::int64_t nanosecondsSinceLoad) {
  const testing::LogCapture capture;
  details::s_verbose = true;
  gMonotonicNanoseconds = kMonotonicAtLoad + nanosecondsSinceLoad;
  details::Log(kInfo, "a.cpp", 1, "", "text");
  return capture.Text();
}

TEST(LogClockTest, VerboseLineShowsWholeMillisecondsSinceLoadInSixColumns) {
  EXPECT_EQ(VerboseLineAt(1'999'900'000), "INFO:    1999 ms text (a.cpp:1 )\n");
}

TEST(LogClockTest, VerboseLineCutsFractionsOfAMillisecondOff) {
  EXPECT_EQ(VerboseLineAt(0), "INFO:       0 ms text (a.cpp:1 )\n");
  EXPECT_EQ(VerboseLineAt(999'999), "INFO:       0 ms text (a.cpp:1 )\n");
  EXPECT_EQ(VerboseLineAt(1'000'000), "INFO:       1 ms text (a.cpp:1 )\n");
}

TEST(LogClockTest, VerboseLineGrowsBeyondSixColumns) {
  EXPECT_EQ(VerboseLineAt(12'345'678'000'000), "INFO:  12345678 ms text (a.cpp:1 )\n");
}

TEST(LogClockTest, VerboseLineHasItsColoursRoundTagAndMessage) {
  const testing::LogCapture capture;
  details::s_verbose = true;
  details::s_use_color = true;
  gMonotonicNanoseconds = kMonotonicAtLoad;
  details::Log(kError, "a.cpp", 1, "f", "text");
  EXPECT_EQ(capture.Text(), "\033[22;31mERROR:\033[0m      0 ms \033[1mtext\033[0m (a.cpp:1 f)\n");
}

}  // namespace
}  // namespace Log
