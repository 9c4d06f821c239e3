#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <new>

#include "platform/linux/dispatch/GuardedJob.h"
#include "platform/linux/dispatch/WorkerPool.h"
#include "tests/support/Eventually.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/Threads.h"

namespace vorn {
namespace {

using testing::BlockedSignals;
using testing::FailingAllocation;

// Posts a job to a pool without a thread while the `nth` allocation fails; true if there was such an
// allocation.
bool PostWithoutMemory(WorkerPool& pool, int nth) {
  std::function<void()> job = [] {};
  const FailingAllocation failing(nth);
  try {
    pool.Post(std::move(job));
  } catch (const std::bad_alloc&) {
  }
  return failing.HasFailed();
}

TEST(WorkerPoolTest, WithoutMemoryForAThreadTheCallersSignalsStayAndTheNextJobRuns) {
  const auto before = BlockedSignals();
  for (int nth = 1;; ++nth) {
    WorkerPool pool("test-pool", 2);
    const bool failed = PostWithoutMemory(pool, nth);
    EXPECT_EQ(BlockedSignals(), before) << nth;
    std::promise<void> ran;
    pool.Post([&ran] { ran.set_value(); });
    EXPECT_EQ(ran.get_future().wait_for(testing::kGenerousDeadline), std::future_status::ready) << nth;
    if (failed) continue;
    EXPECT_GT(nth, 2);  // the list of threads and the thread's own state failed before
    break;
  }
}

TEST(GuardedJobTest, TellsOfAFailureWithoutMemory) {
  ::testing::internal::CaptureStderr();
  const long before = testing::AllocationsMade();
  RunGuarded([] { throw std::bad_alloc(); });
  EXPECT_EQ(testing::AllocationsMade(), before);
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("A job failed: std::bad_alloc"), std::string::npos);
}

}  // namespace
}  // namespace vorn
