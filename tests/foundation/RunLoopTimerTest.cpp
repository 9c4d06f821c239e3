#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <thread>

#include "foundation/PollRunLoop.h"
#include "foundation/RunLoopTimer.h"
#include "tests/support/Eventually.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;
using testing::kGenerousDeadline;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr milliseconds kMomentForWhatMustNotCome{30};

class RunLoopTimerTest : public ::testing::Test {
 protected:
  // Whether a timer set to `date` calls back soon.
  bool Fires(AbsoluteTime date, milliseconds patience) {
    fTimer.SetNextFireDate(date);
    const int before = fCalls;
    fLoop->RunOnce(patience);
    return fCalls > before;
  }

  const std::shared_ptr<PollRunLoop> fLoop = std::make_shared<PollRunLoop>();
  std::atomic<int> fCalls{0};
  RunLoopTimer fTimer{fLoop, kNever, [this] { ++fCalls; }};
};

TEST_F(RunLoopTimerTest, DatesInThePastFireAsSoonAsPossible) {
  for (const AbsoluteTime date : {0.0, -1.0, -kNever, -kInfinity, AbsoluteTimeGetCurrent() - 1}) {
    EXPECT_TRUE(Fires(date, kGenerousDeadline)) << date;
  }
}

TEST_F(RunLoopTimerTest, DatesBeyondReachNeverFire) {
  const double notANumber = std::numeric_limits<double>::quiet_NaN();
  for (const AbsoluteTime date : {kNever, kInfinity, notANumber, 1e18, AbsoluteTimeGetCurrent() + kNever}) {
    EXPECT_FALSE(Fires(date, kMomentForWhatMustNotCome)) << date;
  }
}

TEST_F(RunLoopTimerTest, FiresNotBeforeItsDate) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(Fires(AbsoluteTimeGetCurrent() + 0.05, kGenerousDeadline));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(49));
}

TEST_F(RunLoopTimerTest, FiresOncePerDate) {
  EXPECT_TRUE(Fires(0.0, kGenerousDeadline));
  EXPECT_FALSE(fLoop->RunOnce(kMomentForWhatMustNotCome));
  EXPECT_EQ(fCalls, 1);
}

TEST_F(RunLoopTimerTest, DatesSetBeforeTheLoopTurnsGiveOneCall) {
  for (int i = 0; i < 10; ++i) fTimer.SetNextFireDate(0.0);
  EXPECT_TRUE(fLoop->RunOnce(kGenerousDeadline));
  EXPECT_FALSE(fLoop->RunOnce(kMomentForWhatMustNotCome));
  EXPECT_EQ(fCalls, 1);
}

TEST_F(RunLoopTimerTest, DateMovedToNeverCallsTheFireOff) {
  fTimer.SetNextFireDate(0.0);
  EXPECT_FALSE(Fires(kNever, kMomentForWhatMustNotCome));
}

TEST_F(RunLoopTimerTest, FirstDateIsTakenFromTheConstructor) {
  int calls = 0;
  const RunLoopTimer timer(fLoop, 0.0, [&] { ++calls; });
  EXPECT_TRUE(fLoop->RunOnce(kGenerousDeadline));
  EXPECT_EQ(calls, 1);
}

TEST_F(RunLoopTimerTest, CallbackMaySetTheNextDate) {
  int calls = 0;
  RunLoopTimer* self = nullptr;
  RunLoopTimer timer(fLoop, kNever, [&] {
    if (++calls < 3) self->SetNextFireDate(0.0);
  });
  self = &timer;
  timer.SetNextFireDate(0.0);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(fLoop->RunOnce(kGenerousDeadline));
  EXPECT_EQ(calls, 3);
}

TEST_F(RunLoopTimerTest, DestroyedTimerDoesNotFire) {
  {
    RunLoopTimer timer(fLoop, 0.0, [] { FAIL() << "fired after its destruction"; });
  }
  EXPECT_FALSE(fLoop->RunOnce(kMomentForWhatMustNotCome));
}

TEST_F(RunLoopTimerTest, SettingTheDateFromAnotherThreadWakesTheWaitingLoop) {
  std::atomic<bool> waiting{false};
  std::thread setter([&] {
    while (!waiting) std::this_thread::yield();
    std::this_thread::sleep_for(milliseconds(5));  // most likely inside the wait by then
    fTimer.SetNextFireDate(0.0);
  });
  waiting = true;
  EXPECT_TRUE(fLoop->RunOnce(kGenerousDeadline));
  EXPECT_EQ(fCalls, 1);
  setter.join();
}

TEST_F(RunLoopTimerTest, CallbackRunsOnTheLoopsThread) {
  std::thread::id calledOn;
  RunLoopTimer timer(fLoop, kNever, [&] { calledOn = std::this_thread::get_id(); });
  std::thread([&] { timer.SetNextFireDate(0.0); }).join();
  EXPECT_TRUE(fLoop->RunOnce(kGenerousDeadline));
  EXPECT_EQ(calledOn, std::this_thread::get_id());
}

TEST_F(RunLoopTimerTest, NoDateThatAnotherThreadSetsIsLost) {
  constexpr int kRounds = 2000;
  std::atomic<int> requested{0};
  std::thread setter([&] {
    for (int i = 1; i <= kRounds; ++i) {
      requested = i;
      fTimer.SetNextFireDate(0.0);
    }
  });
  int seen = 0;
  EXPECT_TRUE(testing::Eventually([&] {
    const int before = fCalls;
    fLoop->RunOnce(milliseconds(100));
    if (fCalls > before) seen = requested;
    return seen == kRounds;
  })) << fTimer.NextFireDate();
  setter.join();
}

}  // namespace
}  // namespace vorn
