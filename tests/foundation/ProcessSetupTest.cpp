#include <gtest/gtest.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdlib>
#include <thread>

#include "foundation/ProcessSetup.h"

namespace vorn {
namespace {

TEST(ProcessSetupTest, RaisesTheSoftDescriptorLimitToTheHardOne) {
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  ASSERT_GT(before.rlim_max, 64U);
  rlimit lowered = before;
  lowered.rlim_cur = 64;
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &lowered), 0);

  RaiseDescriptorLimit();

  rlimit after{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &after), 0);
  EXPECT_EQ(after.rlim_cur, before.rlim_max);
  EXPECT_EQ(after.rlim_max, before.rlim_max);
  ::setrlimit(RLIMIT_NOFILE, &before);
}

TEST(ProcessSetupDeathTest, EndsAProcessWhoseTeardownIsStuck) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        EndProcessAfter(std::chrono::milliseconds(20), 7);
        for (;;) std::this_thread::sleep_for(std::chrono::hours(1));
      },
      ::testing::ExitedWithCode(7), "");
}

TEST(ProcessSetupDeathTest, LeavesAPromptTeardownAlone) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        EndProcessAfter(std::chrono::hours(1), 7);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace vorn
