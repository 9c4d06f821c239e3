#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "foundation/EndProcessAfter.h"
#include "tests/support/FailingAllocation.h"

namespace vorn {
namespace {

TEST(EndProcessAfterDeathTest, EndsAProcessWhoseTeardownIsStuck) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        EndProcessAfter(std::chrono::milliseconds(20), 7);
        for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
      },
      ::testing::ExitedWithCode(7), "");
}

TEST(EndProcessAfterDeathTest, LeavesAPromptTeardownAlone) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        EndProcessAfter(std::chrono::hours(1), 7);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(EndProcessAfterDeathTest, GoesOnWithoutAGuardWhereThereIsNoMemoryForIt) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const testing::FailingAllocation failing(1);
        EndProcessAfter(std::chrono::milliseconds(0), 7);
        std::exit(failing.HasFailed() ? 0 : 8);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vorn
