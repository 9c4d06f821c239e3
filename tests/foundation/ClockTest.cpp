#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "foundation/Clock.h"
#include "tests/foundation/ClockStandIn.h"

namespace vorn {
namespace {

using testing::gMonotonicNanoseconds;
using testing::gRealtimeNanoseconds;
using testing::kMonotonicAtLoad;
using testing::kRealtimeAtLoad;
using testing::kSecond;

// There are 24 years of 365 days and six leap days in between.
constexpr double kSecondsFrom2001To2025 = (24 * 365 + 6) * 86400.0;
constexpr double kMicrosecond = 1e-6;

class ClockTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gMonotonicNanoseconds = kMonotonicAtLoad;
    gRealtimeNanoseconds = kRealtimeAtLoad;
    // The first test that calls this sets the anchor.
    ASSERT_NEAR(AbsoluteTimeGetCurrent(), kSecondsFrom2001To2025, kMicrosecond);
  }
};

TEST_F(ClockTest, CountsSecondsSinceTheBeginOf2001) {
  EXPECT_NEAR(AbsoluteTimeGetCurrent(), kSecondsFrom2001To2025, kMicrosecond);
}

TEST_F(ClockTest, RunsWithTheMonotonicClock) {
  gMonotonicNanoseconds += 2'500'000'000;
  EXPECT_NEAR(AbsoluteTimeGetCurrent(), kSecondsFrom2001To2025 + 2.5, kMicrosecond);
}

TEST_F(ClockTest, DoesNotJumpWhenTheWallClockIsSet) {
  gRealtimeNanoseconds += 86'400 * kSecond;
  EXPECT_NEAR(AbsoluteTimeGetCurrent(), kSecondsFrom2001To2025, kMicrosecond);
  gRealtimeNanoseconds -= 30 * 86'400 * kSecond;
  EXPECT_NEAR(AbsoluteTimeGetCurrent(), kSecondsFrom2001To2025, kMicrosecond);
}

TEST_F(ClockTest, QueuedDatesKeepTheirPlaceOnTheMonotonicClockWhenTheWallClockIsSet) {
  const AbsoluteTime inTenSeconds = AbsoluteTimeGetCurrent() + 10;
  const double before = MonotonicSecondsAt(inTenSeconds);
  EXPECT_NEAR(before, 5'010, kMicrosecond);
  gRealtimeNanoseconds += 86'400 * kSecond;
  EXPECT_EQ(MonotonicSecondsAt(inTenSeconds), before);
}

TEST_F(ClockTest, ZeroIsLongPast) {
  EXPECT_LT(MonotonicSecondsAt(0.0), 0);
}

TEST_F(ClockTest, NeverIsTheLargestFiniteDouble) {
  EXPECT_TRUE(std::isfinite(kNever));
  EXPECT_EQ(AbsoluteTimeGetCurrent() + kNever, kNever);
}

// A machine without a battery-backed clock starts in 1970. In a separate process, because the anchor is set
// once.
TEST(ClockDeathTest, ZeroIsPastEvenWhenTheWallClockIsBehind2001) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        gRealtimeNanoseconds = 60 * kSecond;
        gMonotonicNanoseconds = 50 * kSecond;
        const bool zeroIsPast = AbsoluteTimeGetCurrent() > 0.0 && MonotonicSecondsAt(0.0) <= 50.0;
        gMonotonicNanoseconds += 7 * kSecond;
        std::exit(zeroIsPast ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vorn
