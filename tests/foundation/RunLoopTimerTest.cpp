#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <thread>

#include "foundation/RunLoop.h"
#include "foundation/RunLoopTimer.h"
#include "tests/support/Eventually.h"
#include "tests/support/Threads.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;
using testing::kGenerousDeadline;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

class RunLoopTimerTest : public ::testing::Test {
 protected:
  // Whether a timer set to `date` calls back at once.
  bool Fires(AbsoluteTime date) {
    fTimer.SetNextFireDate(date);
    const int before = fCalls;
    Settle();
    return fCalls > before;
  }

  // Turns the loop until a timer has fired that was set after all others.
  void Settle() {
    bool fired = false;
    const RunLoopTimer last(fLoop, 0.0, [&] { fired = true; });
    while (!fired) ASSERT_TRUE(fLoop->RunOnce(kGenerousDeadline));
  }

  const std::shared_ptr<PollRunLoop> fLoop = std::make_shared<PollRunLoop>();
  std::atomic<int> fCalls{0};
  RunLoopTimer fTimer{fLoop, kNever, [this] { ++fCalls; }};
};

TEST_F(RunLoopTimerTest, DatesInThePastFireAsSoonAsPossible) {
  for (const AbsoluteTime date : {0.0, -1.0, -kNever, -kInfinity, AbsoluteTimeGetCurrent() - 1}) {
    EXPECT_TRUE(Fires(date)) << date;
  }
}

TEST_F(RunLoopTimerTest, DatesBeyondReachNeverFire) {
  const double notANumber = std::numeric_limits<double>::quiet_NaN();
  for (const AbsoluteTime date : {kNever, kInfinity, notANumber, 1e18, AbsoluteTimeGetCurrent() + kNever}) {
    EXPECT_FALSE(Fires(date)) << date;
  }
}

TEST_F(RunLoopTimerTest, FiresNotBeforeItsDate) {
  const auto begin = Clock::now();
  fTimer.SetNextFireDate(AbsoluteTimeGetCurrent() + 0.05);
  EXPECT_TRUE(fLoop->RunOnce(kGenerousDeadline));
  EXPECT_GE(Clock::now() - begin, milliseconds(49));
}

TEST_F(RunLoopTimerTest, FiresOnceATimeHasPassed) {
  const auto begin = Clock::now();
  fTimer.FireAfter(milliseconds(20));
  EXPECT_TRUE(fLoop->RunOnce(kGenerousDeadline));
  EXPECT_GE(Clock::now() - begin, milliseconds(19));
  for (const auto time : {Clock::duration::zero(), Clock::duration(-1), Clock::duration::min()}) {
    fTimer.FireAfter(time);
    EXPECT_TRUE(fLoop->RunOnce(kGenerousDeadline)) << time.count();
  }
  fTimer.FireAfter(std::chrono::milliseconds::max());
  Settle();
  EXPECT_EQ(fCalls, 4);
}

TEST_F(RunLoopTimerTest, FiresOncePerDate) {
  EXPECT_TRUE(Fires(0.0));
  Settle();
  EXPECT_EQ(fCalls, 1);
}

TEST_F(RunLoopTimerTest, DatesSetBeforeTheLoopTurnsGiveOneCall) {
  for (int i = 0; i < 10; ++i) fTimer.SetNextFireDate(0.0);
  Settle();
  Settle();
  EXPECT_EQ(fCalls, 1);
}

TEST_F(RunLoopTimerTest, DateMovedToNeverCallsTheFireOff) {
  fTimer.SetNextFireDate(0.0);
  EXPECT_FALSE(Fires(kNever));
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
  Settle();
}

TEST_F(RunLoopTimerTest, SettingTheDateFromAnotherThreadWakesTheWaitingLoop) {
  std::thread setter([&, loopsThread = testing::OwnThread()] {
    EXPECT_TRUE(testing::Eventually([&] { return testing::IsWaiting(loopsThread); }));
    fTimer.SetNextFireDate(0.0);
  });
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
