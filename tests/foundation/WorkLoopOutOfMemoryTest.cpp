#include <gtest/gtest.h>

#include <chrono>
#include <new>

#include "foundation/RunLoop.h"
#include "foundation/WorkLoop.h"
#include "tests/support/FailingAllocation.h"

namespace vorn {
namespace {

struct Loop : WorkLoop {};

// Turns the loop until nothing is left to do.
void Turn() {
  while (PollRunLoop::Current()->RunOnce(std::chrono::milliseconds(0))) {
  }
}

TEST(WorkLoopOutOfMemory, QueuedItemsRunWithoutMemory) {
  bool failed = true;
  for (int nth = 1; failed; ++nth) {
    Loop loop;
    int runs = 0;
    CppWorkItem one(&loop, [&] { return ++runs > 0; });
    CppWorkItem other(&loop, [&] { return ++runs > 0; });
    one.Queue();
    other.Queue();
    {
      const testing::FailingAllocation failing(nth);
      try {
        Turn();
      } catch (const std::bad_alloc&) {  // the run loop itself needs some
      }
      failed = failing.HasFailed();
    }
    Turn();
    EXPECT_EQ(runs, 2) << nth;
  }
}

TEST(WorkLoopOutOfMemory, AnItemThatCannotBeQueuedCanBeLater) {
  bool failed = true;
  for (int nth = 1; failed; ++nth) {
    Loop loop;
    bool hasRun = false;
    bool hasThrown = false;
    CppWorkItem item(&loop, [&] { return hasRun = true; });
    {
      const testing::FailingAllocation failing(nth);
      try {
        item.Queue();
      } catch (const std::bad_alloc&) {
        hasThrown = true;
      }
      failed = failing.HasFailed();
    }
    EXPECT_EQ(failed, hasThrown);
    Turn();
    EXPECT_EQ(!hasThrown, hasRun);
    item.Queue();
    Turn();
    EXPECT_TRUE(hasRun);
  }
}

}  // namespace
}  // namespace vorn
