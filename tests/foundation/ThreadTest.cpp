#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>

#include <array>
#include <chrono>
#include <future>
#include <string>
#include <system_error>
#include <vector>

#include "foundation/Thread.h"
#include "tests/support/Threads.h"

namespace vorn {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using testing::BlockedSignals;

std::string OwnName() {
  std::array<char, 16> name{};
  ::pthread_getname_np(::pthread_self(), name.data(), name.size());
  return name.data();
}

TEST(StartThreadTest, ThreadShowsTheFirst15BytesOfItsName) {
  for (const std::string name : {"short", "exactly fifteen", "longer than fifteen"}) {
    std::string shown;
    StartThread(name.c_str(), [&] { shown = OwnName(); }).join();
    EXPECT_EQ(shown, name.substr(0, 15));
  }
}

TEST(StartThreadTest, ThreadTakesNoSignalsAndItsStarterTakesThoseOfBefore) {
  const auto before = BlockedSignals();
  std::vector<int> blocked;
  StartThread("test", [&] { blocked = BlockedSignals(); }).join();
  EXPECT_THAT(blocked, ::testing::IsSupersetOf({SIGINT, SIGTERM, SIGHUP, SIGCHLD, SIGPIPE, SIGUSR1}));
  EXPECT_EQ(BlockedSignals(), before);
}

TEST(StartThreadTest, SaysSoWhereThereIsNoThread) {
  const auto before = BlockedSignals();
  const testing::NoThreadsLeft none;
  try {
    StartThread("test", [] {}).join();
    FAIL() << "a thread was started";
  } catch (const std::system_error& error) {
    EXPECT_THAT(error.what(), ::testing::StartsWith("thread constructor failed"));
  }
  EXPECT_EQ(BlockedSignals(), before);
}

TEST(StoppableThreadTest, StopEndsAPauseAndWaitsForTheBody) {
  StoppableThread thread;
  std::promise<void> begun;
  bool wentOn = true;
  thread.Start("test", [&] {
    begun.set_value();
    wentOn = thread.Pause(hours(1));
  });
  begun.get_future().wait();
  EXPECT_FALSE(thread.MustStop());
  thread.Stop();
  EXPECT_FALSE(wentOn);
  EXPECT_FALSE(thread.IsStarted());
  thread.Stop();  // again does nothing
}

TEST(StoppableThreadTest, RequestToStopMakesTheDescriptorReadableForGood) {
  StoppableThread thread;
  pollfd stop{thread.StopDescriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&stop, 1, 0), 0);
  EXPECT_TRUE(thread.Pause(milliseconds(0)));
  thread.RequestStop();
  EXPECT_EQ(::poll(&stop, 1, 0), 1);
  EXPECT_FALSE(thread.Pause(hours(1)));
  thread.AwaitStop();  // returns, or the test runs out of time
  EXPECT_EQ(::poll(&stop, 1, 0), 1);
}

TEST(StoppableThreadTest, DestructionStopsAndJoins) {
  bool ended = false;
  {
    StoppableThread thread;
    thread.Start("test", [&] {
      thread.AwaitStop();
      ended = true;
    });
    EXPECT_TRUE(thread.IsStarted());
  }
  EXPECT_TRUE(ended);
}

TEST(StoppableThreadTest, PauseOfALongTimeIsNoOverflow) {
  StoppableThread thread;
  std::promise<void> begun;
  thread.Start("test", [&] {
    begun.set_value();
    EXPECT_FALSE(thread.Pause(milliseconds::max()));
  });
  begun.get_future().wait();
  thread.Stop();
}

TEST(StoppableThreadDeathTest, SecondStartEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        StoppableThread thread;
        thread.Start("test", [&] { thread.AwaitStop(); });
        thread.Start("test", [] {});
      },
      "");
}

}  // namespace
}  // namespace vorn
