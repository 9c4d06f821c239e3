#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

#include "foundation/RunLoop.h"
#include "platform/linux/dispatch/DispatchLinux.h"
#include "tests/foundation/LogCapture.h"
#include "tests/support/Eventually.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/Threads.h"
#include "tests/support/TurnLoop.h"

namespace {

using namespace std::chrono_literals;
using vorn::Dispatch;
using vorn::testing::Eventually;
using vorn::testing::kGenerousDeadline;
using vorn::testing::TurnLoopUntil;

class DispatchLinuxTest : public testing::Test {
 protected:
  std::shared_ptr<vorn::PollRunLoop> fLoop = vorn::PollRunLoop::Current();
  std::unique_ptr<vorn::DispatchLinux> fDispatch = std::make_unique<vorn::DispatchLinux>(fLoop);
};

TEST_F(DispatchLinuxTest, RunsMainJobsOnTheLoopsThreadInTheOrderPosted) {
  std::vector<int> order;
  std::thread::id where;
  std::thread poster([&] {
    for (int i = 0; i < 100; ++i) {
      fDispatch->AsyncMain([&order, &where, i] {
        order.push_back(i);
        where = std::this_thread::get_id();
      });
    }
  });
  poster.join();
  EXPECT_TRUE(order.empty());
  ASSERT_TRUE(TurnLoopUntil([&] { return order.size() == 100; }));
  for (int i = 0; i < 100; ++i) EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
  EXPECT_EQ(where, std::this_thread::get_id());
}

TEST_F(DispatchLinuxTest, NeverRunsAMainJobInsideThePosting) {
  bool inner = false;
  bool innerRanInside = true;
  fDispatch->AsyncMain([&] {
    fDispatch->AsyncMain([&] { inner = true; });
    innerRanInside = inner;
  });
  ASSERT_TRUE(TurnLoopUntil([&] { return inner; }));
  EXPECT_FALSE(innerRanInside);
}

TEST_F(DispatchLinuxTest, ServesLaterJobsWhileAJobRunsALoopOfItsOwn) {
  bool laterSeen = false;
  bool later = false;
  fDispatch->AsyncMain([&] { laterSeen = TurnLoopUntil([&] { return later; }); });
  fDispatch->AsyncMain([&] { later = true; });
  ASSERT_TRUE(TurnLoopUntil([&] { return later; }));
  EXPECT_TRUE(laterSeen);
}

TEST_F(DispatchLinuxTest, LeavesTheLoopAloneWhenNothingIsPosted) {
  bool ran = false;
  fDispatch->AsyncMain([&] { ran = true; });
  ASSERT_TRUE(TurnLoopUntil([&] { return ran; }));
  EXPECT_FALSE(fLoop->RunOnce(0ms));
}

TEST_F(DispatchLinuxTest, DropsMainJobsThatHaveNotBegunWhenItEnds) {
  bool ran = false;
  auto token = std::make_shared<int>(0);
  fDispatch->AsyncMain([&ran, token] { ran = true; });
  fDispatch.reset();
  EXPECT_EQ(token.use_count(), 1);
  EXPECT_FALSE(fLoop->RunOnce(0ms));
  EXPECT_FALSE(ran);
}

TEST_F(DispatchLinuxTest, MayEndInsideAMainJob) {
  bool second = false;
  fDispatch->AsyncMain([&] { fDispatch.reset(); });
  fDispatch->AsyncMain([&] { second = true; });
  ASSERT_TRUE(TurnLoopUntil([&] { return fDispatch == nullptr; }));
  EXPECT_FALSE(fLoop->RunOnce(0ms));
  EXPECT_FALSE(second);
}

TEST_F(DispatchLinuxTest, KeepsGoingWhenAJobThrowsAndTellsTheConsole) {
  const Log::testing::LogCapture log;
  ::testing::internal::CaptureStderr();
  bool ran = false;
  fDispatch->AsyncMain([] { throw std::runtime_error("job's own failure"); });
  fDispatch->AsyncMain([&] { ran = true; });
  EXPECT_TRUE(TurnLoopUntil([&] { return ran; }));
  std::promise<void> background;
  fDispatch->AsyncBackground(Dispatch::Priority::kDefault, [] { throw 1; });
  fDispatch->AsyncBackground(Dispatch::Priority::kDefault, [&] { background.set_value(); });
  EXPECT_EQ(background.get_future().wait_for(kGenerousDeadline), std::future_status::ready);
  fDispatch.reset();
  const std::string program = program_invocation_short_name;
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), program + ": A job failed: job's own failure\n" +
                                                          program + ": A job failed: unknown exception\n");
  EXPECT_EQ(log.Text(), "");
}

TEST_F(DispatchLinuxTest, RunsBackgroundJobsBesideEachOther) {
  for (const auto priority : {Dispatch::Priority::kHigh, Dispatch::Priority::kDefault}) {
    auto first = std::make_shared<std::promise<void>>();
    auto second = std::make_shared<std::promise<void>>();
    auto met = std::make_shared<std::promise<bool>>();
    fDispatch->AsyncBackground(priority, [=] {
      first->set_value();
      met->set_value(second->get_future().wait_for(kGenerousDeadline) == std::future_status::ready);
    });
    fDispatch->AsyncBackground(priority, [=] {
      if (first->get_future().wait_for(kGenerousDeadline) == std::future_status::ready) second->set_value();
    });
    EXPECT_TRUE(met->get_future().get());
  }
}

TEST_F(DispatchLinuxTest, RunsHighWorkWhileEveryDefaultThreadWaitsForIt) {
  std::vector<std::future<bool>> answers;
  for (std::size_t i = 0; i < 2 * vorn::DispatchLinux::kThreadLimit; ++i) {
    auto answer = std::make_shared<std::promise<bool>>();
    answers.push_back(answer->get_future());
    fDispatch->AsyncBackground(Dispatch::Priority::kDefault, [this, answer] {
      auto high = std::make_shared<std::promise<void>>();
      auto done = high->get_future();
      fDispatch->AsyncBackground(Dispatch::Priority::kHigh, [high] { high->set_value(); });
      answer->set_value(done.wait_for(kGenerousDeadline) == std::future_status::ready);
    });
  }
  for (auto& answer : answers) EXPECT_TRUE(answer.get());
}

TEST_F(DispatchLinuxTest, NeverUsesMoreThreadsThanItsLimit) {
  const std::size_t before = vorn::testing::CountThreads();
  std::atomic<std::size_t> done{0};
  std::promise<void> release;
  const auto released = release.get_future().share();
  constexpr std::size_t kJobs = 4 * vorn::DispatchLinux::kThreadLimit;
  for (std::size_t i = 0; i < kJobs; ++i) {
    fDispatch->AsyncBackground(Dispatch::Priority::kDefault, [&done, released] {
      released.wait();
      ++done;
    });
  }
  EXPECT_EQ(vorn::testing::CountThreads() - before, vorn::DispatchLinux::kThreadLimit);
  release.set_value();
  EXPECT_TRUE(TurnLoopUntil([&] { return done == kJobs; }));
}

TEST_F(DispatchLinuxTest, EndsAfterTheJobsThatHaveBegunAndWithoutTheOthers) {
  std::promise<void> begun;
  std::atomic<bool> ending{false};
  bool ended = false;
  fDispatch->AsyncBackground(Dispatch::Priority::kHigh, [&, endingThread = vorn::testing::OwnThread()] {
    begun.set_value();
    EXPECT_TRUE(Eventually([&] { return ending && vorn::testing::IsWaiting(endingThread); }));
    ended = true;
  });
  begun.get_future().wait();
  ending = true;
  fDispatch.reset();
  EXPECT_TRUE(ended);
}

TEST_F(DispatchLinuxTest, TellsWaitersOfADroppedJobByDestroyingIt) {
  // The only job that starts waits for one that never does.
  std::vector<std::future<void>> blockers;
  std::promise<void> release;
  auto released = release.get_future().share();
  for (std::size_t i = 0; i < vorn::DispatchLinux::kThreadLimit; ++i) {
    auto begun = std::make_shared<std::promise<void>>();
    blockers.push_back(begun->get_future());
    fDispatch->AsyncBackground(Dispatch::Priority::kHigh, [begun, released] {
      begun->set_value();
      released.wait();
    });
  }
  for (auto& blocker : blockers) blocker.wait();
  auto never = std::make_shared<std::promise<void>>();
  auto dropped = never->get_future();
  fDispatch->AsyncBackground(Dispatch::Priority::kHigh, [never] { never->set_value(); });
  never.reset();
  std::thread waiter([&] {
    EXPECT_THROW(dropped.get(), std::future_error);
    release.set_value();
  });
  fDispatch.reset();
  waiter.join();
}

TEST_F(DispatchLinuxTest, LeavesNoDescriptorBehind) {
  fDispatch.reset();
  const auto before = CountOpenDescriptors();
  for (int i = 0; i < 50; ++i) {
    vorn::DispatchLinux dispatch(fLoop);
    dispatch.AsyncBackground(Dispatch::Priority::kHigh, [&dispatch] { dispatch.AsyncMain([] {}); });
  }
  EXPECT_EQ(CountOpenDescriptors(), before);
}

}  // namespace
