#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "devicelist/PollerInternals.h"
#include "tests/support/Eventually.h"
#include "tests/support/Threads.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using vorn::testing::Eventually;
using vorn::testing::NoThreadsLeft;

using State = vorn::optional<std::string>;
using Response = PollerInternals::CheckResponse;
using Checks = std::vector<PollerInternals::Check>;

static_assert(static_cast<int>(Response::Done) == 0 && static_cast<int>(Response::Retry) == 1 &&
              static_cast<int>(Response::Restart) == 2 && static_cast<int>(Response::Stop) == 3);

constexpr auto kNoPause = 0ms;
constexpr auto kEndless = 1h;

/// What checks did, recorded on their thread.
class Diary {
 public:
  void Write(const std::string& line) {
    const std::lock_guard lock(fMutex);
    fLines.push_back(line);
  }
  [[nodiscard]] std::vector<std::string> Lines() const {
    const std::lock_guard lock(fMutex);
    return fLines;
  }
  [[nodiscard]] std::size_t Count() const {
    const std::lock_guard lock(fMutex);
    return fLines.size();
  }
  [[nodiscard]] bool WaitFor(std::size_t count) const {
    return Eventually([&] { return Count() >= count; });
  }

 private:
  mutable std::mutex fMutex;
  std::vector<std::string> fLines;
};

/// A check that records its name and gives its answers in turn, then the last one again.
PollerInternals::Check Scripted(Diary& diary, const std::string& name, std::vector<Response> answers) {
  return [&diary, name, answers = std::move(answers), turn = std::size_t{0}](State&) mutable {
    diary.Write(name);
    return answers[std::min(turn++, answers.size() - 1)];
  };
}

/// A clock that only the test moves. It counts how often it is read.
struct TestClock {
  std::atomic<vorn::Clock::duration> time{};
  std::atomic<int> reads{0};
  std::atomic<int> readsAtLastCheck{0};
};

/// Polls with a clock that the test moves.
class PollerInternalsByTestClock : public PollerInternals {
 public:
  PollerInternalsByTestClock(TestClock& clock, std::chrono::milliseconds period, Checks checks)
      : PollerInternals(period, Noting(clock, std::move(checks)), ReadingOf(clock)), fClock(clock) {}

  /// Waits until the thread has begun the pause after its last check.
  [[nodiscard]] bool AwaitPause() const {
    return Eventually([&] { return fClock.reads >= fClock.readsAtLastCheck + 2; });
  }

  /// Moves the clock and wakes the thread in its pause; true after it has read the clock again.
  [[nodiscard]] bool Move(std::chrono::milliseconds time) {
    int reads = 0;
    {
      // The pausing thread releases the mutex only while it waits for a wake-up.
      const std::lock_guard lock(fMutex);
      fClock.time = fClock.time.load() + time;
      reads = fClock.reads;
      fWakeup.notify_all();
    }
    return Eventually([&] { return fClock.reads > reads; });
  }

 private:
  static vorn::Now ReadingOf(TestClock& clock) {
    return [&clock] {
      ++clock.reads;
      return vorn::Clock::time_point(clock.time.load());
    };
  }

  static Checks Noting(TestClock& clock, Checks checks) {
    for (auto& check : checks) {
      check = [&clock, own = std::move(check)](State& state) {
        clock.readsAtLastCheck = clock.reads.load();
        return own(state);
      };
    }
    return checks;
  }

  TestClock& fClock;
};

TEST(PollerInternalsTest, RunsTheFirstCheckAtOnceAndPausesAWholePeriodBetween) {
  Diary diary;
  TestClock clock;
  PollerInternalsByTestClock internals(clock, 3s, {Scripted(diary, "a", {Response::Retry})});
  for (std::size_t run = 1; run <= 4; ++run) {
    ASSERT_TRUE(diary.WaitFor(run));
    ASSERT_TRUE(internals.AwaitPause());
    ASSERT_TRUE(internals.Move(3s - 1ms));
    EXPECT_EQ(diary.Count(), run);
    ASSERT_TRUE(internals.Move(1ms));
  }
  EXPECT_TRUE(diary.WaitFor(5));
}

TEST(PollerInternalsTest, GoesByTheSteadyClockByDefault) {
  Diary diary;
  const auto begin = vorn::Clock::now();
  const PollerInternals internals(20ms, {Scripted(diary, "a", {Response::Retry})});
  ASSERT_TRUE(diary.WaitFor(3));
  EXPECT_GE(vorn::Clock::now() - begin, 2 * 20ms);
}

TEST(PollerInternalsTest, RunsTheFirstCheckWithoutAPause) {
  Diary diary;
  const PollerInternals internals(kEndless, {Scripted(diary, "a", {Response::Retry})});
  EXPECT_TRUE(diary.WaitFor(1));
}

TEST(PollerInternalsTest, GoesOnWithoutAPauseWhenDoneAndBeginsAgainAfterTheLast) {
  Diary diary;
  const PollerInternals internals(
      kEndless, {Scripted(diary, "a", {Response::Done}), Scripted(diary, "b", {Response::Done}),
                 Scripted(diary, "c", {Response::Done, Response::Stop})});
  ASSERT_TRUE(diary.WaitFor(6));
  EXPECT_THAT(diary.Lines(), ElementsAre("a", "b", "c", "a", "b", "c"));
}

TEST(PollerInternalsTest, RepeatsTheSameCheckAfterRetryAndTheFirstAfterRestart) {
  Diary diary;
  const PollerInternals internals(
      kNoPause,
      {Scripted(diary, "a", {Response::Done}), Scripted(diary, "b", {Response::Done}),
       Scripted(diary, "c", {Response::Done}),
       Scripted(diary, "d", {Response::Retry, Response::Retry, Response::Restart, Response::Stop})});
  const std::vector<std::string> expected = {"a", "b", "c", "d", "d", "d", "a", "b", "c", "d"};
  ASSERT_TRUE(diary.WaitFor(expected.size()));
  EXPECT_THAT(diary.Lines(), ElementsAreArray(expected));
}

TEST(PollerInternalsTest, PausesOnceBeforeARestart) {
  Diary diary;
  TestClock clock;
  PollerInternalsByTestClock internals(
      clock, 3s, {Scripted(diary, "a", {Response::Done}), Scripted(diary, "b", {Response::Restart})});
  for (std::size_t round = 1; round <= 3; ++round) {
    ASSERT_TRUE(diary.WaitFor(2 * round));
    ASSERT_TRUE(internals.AwaitPause());
    ASSERT_TRUE(internals.Move(3s - 1ms));
    EXPECT_EQ(diary.Count(), 2 * round);
    ASSERT_TRUE(internals.Move(1ms));
  }
  EXPECT_TRUE(diary.WaitFor(8));
}

TEST(PollerInternalsTest, KeepsTheStateThroughRetriesAndDropsItOtherwise) {
  Diary diary;
  const auto remember = [&diary](std::vector<Response> answers, const std::string& name) {
    return [&diary, name, answers = std::move(answers), turn = std::size_t{0}](State& state) mutable {
      diary.Write(name + (state ? *state : "-"));
      state = std::string(state ? *state + "x" : "x");
      return answers[std::min(turn++, answers.size() - 1)];
    };
  };
  const PollerInternals internals(
      kNoPause,
      {remember({Response::Retry, Response::Done}, "a"),
       remember({Response::Retry, Response::Retry, Response::Restart, Response::Done, Response::Stop}, "b")});
  const std::vector<std::string> expected = {"a-", "ax", "b-", "bx", "bxx", "a-", "b-", "a-", "b-"};
  ASSERT_TRUE(diary.WaitFor(expected.size()));
  EXPECT_THAT(diary.Lines(), ElementsAreArray(expected));
}

/// Sets a flag when the calling thread ends.
struct ThreadEnd {
  ~ThreadEnd() {
    if (flag != nullptr) *flag = true;
  }
  std::atomic<bool>* flag = nullptr;
};

ThreadEnd& EndOfThisThread() {
  thread_local ThreadEnd end;
  return end;
}

TEST(PollerInternalsTest, EndsTheThreadOnStop) {
  std::atomic<bool> hasEnded{false};
  Diary diary;
  const auto stop = [&](State&) {
    EndOfThisThread().flag = &hasEnded;
    diary.Write("a");
    return Response::Stop;
  };
  const PollerInternals internals(kNoPause, {stop, Scripted(diary, "b", {Response::Done})});
  ASSERT_TRUE(Eventually([&] { return hasEnded.load(); }));
  EXPECT_THAT(diary.Lines(), ElementsAre("a"));
}

TEST(PollerInternalsTest, TakesAnExceptionForRestart) {
  Diary diary;
  const auto throwing = [&diary, turn = 0](State& state) mutable -> Response {
    diary.Write(state ? "kept" : "b");
    state = std::string("x");
    if (++turn == 1) throw std::bad_alloc();
    if (turn == 2) throw 1;
    return Response::Stop;
  };
  const PollerInternals internals(kNoPause, {Scripted(diary, "a", {Response::Done}), throwing});
  ASSERT_TRUE(diary.WaitFor(6));
  EXPECT_THAT(diary.Lines(), ElementsAre("a", "b", "a", "b", "a", "b"));
}

TEST(PollerInternalsTest, EndsAPauseAtOnceWhenDestroyedAndRunsNoFurtherCheck) {
  for (const auto response : {Response::Retry, Response::Restart}) {
    Diary diary;
    TestClock clock;
    auto internals = std::make_unique<PollerInternalsByTestClock>(clock, kEndless,
                                                                  Checks{Scripted(diary, "a", {response})});
    ASSERT_TRUE(diary.WaitFor(1));
    ASSERT_TRUE(internals->AwaitPause());
    internals.reset();  // the clock does not run, so nothing else ends the pause
    EXPECT_EQ(diary.Count(), 1U);
  }
}

TEST(PollerInternalsTest, WaitsForARunningCheckAndGoesNoFurther) {
  Diary diary;
  std::atomic<bool> inside{false};
  std::promise<void> mayLeave;
  const auto slow = [&](State&) {
    inside = true;
    mayLeave.get_future().wait();
    diary.Write("slow");
    return Response::Done;
  };
  auto internals =
      std::make_unique<PollerInternals>(kNoPause, Checks{slow, Scripted(diary, "next", {Response::Done})});
  ASSERT_TRUE(Eventually([&] { return inside.load(); }));
  std::promise<pid_t> destroyer;
  std::thread destruction([&] {
    destroyer.set_value(vorn::testing::OwnThread());
    internals.reset();
  });
  const pid_t thread = destroyer.get_future().get();
  EXPECT_TRUE(Eventually([&] { return vorn::testing::IsWaiting(thread); }));
  EXPECT_EQ(diary.Count(), 0U);
  mayLeave.set_value();
  destruction.join();
  EXPECT_THAT(diary.Lines(), ElementsAre("slow"));
}

TEST(PollerInternalsTest, PausesAWholePeriodHoweverOftenItIsWoken) {
  Diary diary;
  TestClock clock;
  PollerInternalsByTestClock internals(clock, 3s, {Scripted(diary, "a", {Response::Retry})});
  ASSERT_TRUE(diary.WaitFor(1));
  ASSERT_TRUE(internals.AwaitPause());
  for (int second = 0; second < 2; ++second) {
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(internals.Move(0ms));
    ASSERT_TRUE(internals.Move(1s));
    EXPECT_EQ(diary.Count(), 1U);
  }
  ASSERT_TRUE(internals.Move(1s));
  EXPECT_TRUE(diary.WaitFor(2));
}

TEST(PollerInternalsTest, CanBeDestroyedEvenWithNothingToCheck) {
  auto internals = std::make_unique<PollerInternals>(kNoPause, Checks{});
  internals.reset();
  EXPECT_EQ(internals, nullptr);
}

TEST(PollerInternalsTest, OwnsItsChecks) {
  Diary diary;
  Checks checks{Scripted(diary, "a", {Response::Retry})};
  const PollerInternals internals(1ms, checks);
  checks.clear();
  EXPECT_TRUE(diary.WaitFor(3));
}

TEST(PollerInternalsTest, TakesNoSignalsAndLeavesTheCallersMaskAlone) {
  sigset_t before;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  std::atomic<int> blocked{-1};
  const auto look = [&](State&) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    blocked = sigismember(&mask, SIGINT) + sigismember(&mask, SIGTERM) + sigismember(&mask, SIGPIPE);
    return Response::Stop;
  };
  const PollerInternals internals(kNoPause, {look});
  ASSERT_TRUE(Eventually([&] { return blocked >= 0; }));
  EXPECT_EQ(blocked, 3);
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (int signal = 1; signal < 32; ++signal)
    EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal));
}

TEST(PollerInternalsTest, SaysSoWhenNoThreadIsLeft) {
  Diary diary;
  Checks checks{Scripted(diary, "a", {Response::Retry})};
  const NoThreadsLeft none;
  try {
    const PollerInternals internals(kNoPause, checks);
    FAIL() << "there was a thread";
  } catch (const std::system_error& error) {
    EXPECT_THAT(error.what(), ::testing::StartsWith("thread constructor failed"));
  }
  EXPECT_EQ(diary.Count(), 0U);
}

TEST(PollerInternalsTest, StartsAndEndsManyTimesOver) {
  for (std::size_t round = 0; round < 300; ++round) {
    Diary diary;
    const PollerInternals internals(kNoPause, {Scripted(diary, "a", {Response::Retry})});
    ASSERT_TRUE(diary.WaitFor(round % 3));
  }
}

}  // namespace
}  // namespace DeviceList
