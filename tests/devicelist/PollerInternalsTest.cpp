#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
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

using Clock = std::chrono::steady_clock;
using State = vorn::optional<std::string>;
using Response = PollerInternals::CheckResponse;
using Checks = std::vector<PollerInternals::Check>;

static_assert(static_cast<int>(Response::Done) == 0 && static_cast<int>(Response::Retry) == 1 &&
              static_cast<int>(Response::Restart) == 2 && static_cast<int>(Response::Stop) == 3);

constexpr auto kNoPause = 0ms;
constexpr auto kEndless = 1h;

/// What checks did, put down from their thread.
class Diary {
 public:
  void Write(const std::string& line) {
    const std::lock_guard lock(fMutex);
    fLines.push_back(line);
    fTimes.push_back(Clock::now());
  }
  [[nodiscard]] std::vector<std::string> Lines() const {
    const std::lock_guard lock(fMutex);
    return fLines;
  }
  [[nodiscard]] std::vector<Clock::time_point> Times() const {
    const std::lock_guard lock(fMutex);
    return fTimes;
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
  std::vector<Clock::time_point> fTimes;
};

/// A check that writes its name and gives its answers in turn, then the last.
PollerInternals::Check Scripted(Diary& diary, const std::string& name, std::vector<Response> answers) {
  return [&diary, name, answers = std::move(answers), turn = std::size_t{0}](State&) mutable {
    diary.Write(name);
    return answers[std::min(turn++, answers.size() - 1)];
  };
}

TEST(PollerInternals, RunsTheFirstCheckAtOnceAndPausesAWholePeriodBetween) {
  Diary diary;
  const auto begin = Clock::now();
  {
    const PollerInternals internals(100ms, {Scripted(diary, "a", {Response::Retry})});
    ASSERT_TRUE(diary.WaitFor(4));
  }
  const auto times = diary.Times();
  EXPECT_LT(times[0] - begin, 10s);
  for (std::size_t i = 1; i < times.size(); ++i) EXPECT_GE(times[i] - times[i - 1], 100ms);
}

TEST(PollerInternals, RunsTheFirstCheckWithoutAPause) {
  Diary diary;
  const PollerInternals internals(kEndless, {Scripted(diary, "a", {Response::Retry})});
  EXPECT_TRUE(diary.WaitFor(1));
}

TEST(PollerInternals, GoesOnWithoutAPauseWhenDoneAndBeginsAgainAfterTheLast) {
  Diary diary;
  const PollerInternals internals(
      kEndless, {Scripted(diary, "a", {Response::Done}), Scripted(diary, "b", {Response::Done}),
                 Scripted(diary, "c", {Response::Done, Response::Stop})});
  ASSERT_TRUE(diary.WaitFor(6));
  EXPECT_THAT(diary.Lines(), ElementsAre("a", "b", "c", "a", "b", "c"));
}

TEST(PollerInternals, RepeatsTheSameCheckAfterRetryAndTheFirstAfterRestart) {
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

TEST(PollerInternals, PausesOnceBeforeARestart) {
  constexpr auto kPeriod = 500ms;
  Diary diary;
  const PollerInternals internals(
      kPeriod, {Scripted(diary, "a", {Response::Done}), Scripted(diary, "b", {Response::Restart})});
  ASSERT_TRUE(diary.WaitFor(8));
  const auto times = diary.Times();
  // The shortest of three, which a machine that is busy for a moment leaves alone.
  auto shortest = times[2] - times[1];
  for (const std::size_t restart : {4U, 6U})
    shortest = std::min(shortest, times[restart] - times[restart - 1]);
  EXPECT_GE(shortest, kPeriod);
  EXPECT_LT(shortest, 2 * kPeriod);
}

TEST(PollerInternals, KeepsTheStateThroughRetriesAndDropsItOtherwise) {
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

TEST(PollerInternals, EndsTheThreadOnStop) {
  Diary diary;
  const PollerInternals internals(
      kNoPause, {Scripted(diary, "a", {Response::Stop}), Scripted(diary, "b", {Response::Done})});
  ASSERT_TRUE(diary.WaitFor(1));
  std::this_thread::sleep_for(50ms);  // nothing more may come
  EXPECT_THAT(diary.Lines(), ElementsAre("a"));
}

TEST(PollerInternals, TakesAnExceptionForRestart) {
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

TEST(PollerInternals, EndsAPauseAtOnceWhenDestroyedAndRunsNoFurtherCheck) {
  for (const auto response : {Response::Retry, Response::Restart}) {
    Diary diary;
    auto internals = std::make_unique<PollerInternals>(kEndless, Checks{Scripted(diary, "a", {response})});
    ASSERT_TRUE(diary.WaitFor(1));
    const auto begin = Clock::now();
    internals.reset();
    EXPECT_LT(Clock::now() - begin, 10s);
    EXPECT_EQ(diary.Count(), 1U);
  }
}

TEST(PollerInternals, WaitsForARunningCheckAndGoesNoFurther) {
  Diary diary;
  std::atomic<bool> inside{false};
  std::atomic<bool> mayLeave{false};
  const auto slow = [&](State&) {
    inside = true;
    while (!mayLeave) std::this_thread::sleep_for(1ms);
    diary.Write("slow");
    return Response::Done;
  };
  auto internals =
      std::make_unique<PollerInternals>(kNoPause, Checks{slow, Scripted(diary, "next", {Response::Done})});
  ASSERT_TRUE(Eventually([&] { return inside.load(); }));
  std::thread release([&] {
    std::this_thread::sleep_for(500ms);  // well into the destructor
    mayLeave = true;
  });
  internals.reset();
  release.join();
  EXPECT_THAT(diary.Lines(), ElementsAre("slow"));
}

TEST(PollerInternals, PausesAWholePeriodHoweverOftenItIsWoken) {
  class Nudged : public PollerInternals {
   public:
    using PollerInternals::PollerInternals;
    void Nudge() { fWakeup.notify_all(); }
  };
  Diary diary;
  Nudged internals(200ms, {Scripted(diary, "a", {Response::Retry})});
  while (diary.Count() < 3) {
    internals.Nudge();
    std::this_thread::sleep_for(1ms);
  }
  const auto times = diary.Times();
  EXPECT_GE(times[1] - times[0], 200ms);
  EXPECT_GE(times[2] - times[1], 200ms);
}

TEST(PollerInternals, CanBeDestroyedEvenWithNothingToCheck) {
  auto internals = std::make_unique<PollerInternals>(kNoPause, Checks{});
  internals.reset();
  EXPECT_EQ(internals, nullptr);
}

TEST(PollerInternals, OwnsItsChecks) {
  Diary diary;
  Checks checks{Scripted(diary, "a", {Response::Retry})};
  const PollerInternals internals(1ms, checks);
  checks.clear();
  EXPECT_TRUE(diary.WaitFor(3));
}

TEST(PollerInternals, TakesNoSignalsAndLeavesTheCallersMaskAlone) {
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
    EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal));
}

TEST(PollerInternals, SaysSoWhenThereIsNoThreadToBeHad) {
  Diary diary;
  Checks checks{Scripted(diary, "a", {Response::Retry})};
  const NoThreadsLeft none;
  try {
    const PollerInternals internals(kNoPause, checks);
    FAIL() << "a thread was to be had";
  } catch (const std::system_error& error) {
    EXPECT_THAT(error.what(), ::testing::StartsWith("thread constructor failed"));
  }
  EXPECT_EQ(diary.Count(), 0U);
}

TEST(PollerInternals, StartsAndEndsManyTimesOver) {
  for (int round = 0; round < 300; ++round) {
    Diary diary;
    const PollerInternals internals(kNoPause, {Scripted(diary, "a", {Response::Retry})});
    if (round % 2 == 0) std::this_thread::sleep_for(std::chrono::microseconds(round));
  }
}

}  // namespace
}  // namespace DeviceList
