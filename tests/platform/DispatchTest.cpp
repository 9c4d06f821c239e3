#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "platform/Dispatch.h"
#include "tests/platform/ManualDispatch.h"

namespace vorn {
namespace {

/// Takes what others queue for it.
struct Taker {
  void Take(std::unique_ptr<int> first, int second) { fTaken.emplace_back(*first, second); }

  std::vector<std::pair<int, int>> fTaken;
  std::shared_ptr<Taker*> fAlive = std::make_shared<Taker*>(this);
};

TEST(OnMainTest, QueuesEachCallOfAnotherThreadWithItsValues) {
  testing::ManualDispatch queues;
  Taker taker;
  std::thread other([take = OnMain(queues, taker.fAlive, &Taker::Take)] {
    take(std::make_unique<int>(1), 2);
    take(std::make_unique<int>(3), 4);
  });
  other.join();
  EXPECT_TRUE(taker.fTaken.empty());
  queues.RunMain();
  EXPECT_EQ(taker.fTaken, (std::vector<std::pair<int, int>>{{1, 2}, {3, 4}}));
}

TEST(OnMainTest, DoesNothingOnceTheOwnerHasGone) {
  testing::ManualDispatch queues;
  Taker taker;
  const auto take = OnMain(queues, taker.fAlive, &Taker::Take);
  take(std::make_unique<int>(1), 2);
  taker.fAlive.reset();
  take(std::make_unique<int>(3), 4);
  queues.RunMain();
  EXPECT_TRUE(taker.fTaken.empty());
}

}  // namespace
}  // namespace vorn
