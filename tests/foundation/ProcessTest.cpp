#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include "foundation/Process.h"
#include "tests/support/FailingAllocation.h"

namespace vorn {
namespace {

// In a separate process, whose standard descriptors it may close.
TEST(ProcessDeathTest, NothingOpenedLaterTakesThePlaceOfClosedStandardDescriptors) {
  EXPECT_EXIT(
      {
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO}) ::close(descriptor);
        OccupyClosedStandardDescriptors();
        const bool isTaken = ::fcntl(STDIN_FILENO, F_GETFD) >= 0 && ::fcntl(STDOUT_FILENO, F_GETFD) >= 0;
        const bool isUnusable = ::write(STDOUT_FILENO, "x", 1) < 0 && errno == EBADF;
        ::_exit(isTaken && isUnusable ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(ProcessTest, RaisesTheSoftDescriptorLimitToTheHardOne) {
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

// Threads that are there at the same time, each with a text that grows to 1 MiB, twice.
void LetThreadsReadLargeAnswers() {
  constexpr std::size_t kThreads = 16;
  std::latch ready(kThreads);
  std::vector<std::jthread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&ready] {
      for (int round = 0; round < 2; ++round) {
        std::string text;
        while (text.size() < 1024 * 1024) text.append(4096, 'x');
        if (round == 0) ready.arrive_and_wait();
      }
    });
  }
}

TEST(ProcessDeathTest, KeepsLittleOfTheMemoryThatThreadsHaveFreed) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        KeepHeapSmall();
        LetThreadsReadLargeAnswers();
        ::_exit(::mallinfo2().arena < 4 * 1024 * 1024 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(ProcessDeathTest, EndsAProcessWhoseTeardownIsStuck) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        EndProcessAfter(std::chrono::milliseconds(20), 7);
        for (;;) ::pause();
      },
      ::testing::ExitedWithCode(7), "");
}

TEST(ProcessDeathTest, LeavesAPromptTeardownAlone) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        EndProcessAfter(std::chrono::hours(1), 7);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(ProcessDeathTest, GoesOnWithoutAGuardWhereThereIsNoMemoryForIt) {
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
