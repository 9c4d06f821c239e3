#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

#include "foundation/RunLoop.h"
#include "tests/support/Eventually.h"
#include "tests/support/Threads.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;
using testing::kGenerousDeadline;

TEST(RunLoopTest, ThreadGetsAPollRunLoopOfItsOwn) {
  const auto here = RunLoop::Current();
  EXPECT_EQ(here, RunLoop::Current());
  EXPECT_EQ(PollRunLoop::Current(), here);
  std::shared_ptr<RunLoop> there;
  std::thread([&] { there = RunLoop::Current(); }).join();
  EXPECT_NE(there, nullptr);
  EXPECT_NE(there, here);
}

TEST(RunLoopTest, ThreadKeepsTheLoopItSet) {
  class OtherLoop final : public RunLoop {
   public:
    SourceId AddSource(int, std::function<void()>) override { return 1; }
    void RemoveSource(SourceId) override {}
  };
  std::thread([] {
    const auto loop = std::make_shared<OtherLoop>();
    RunLoop::SetCurrent(loop);
    EXPECT_EQ(RunLoop::Current(), loop);
    EXPECT_THROW(PollRunLoop::Current(), std::logic_error);
  }).join();
}

TEST(PollRunLoopTest, CallsTheHandlerOfAReadableDescriptor) {
  PollRunLoop loop;
  Wakeup signal;
  int calls = 0;
  loop.AddSource(signal.Descriptor(), [&] { ++calls; });
  EXPECT_FALSE(loop.RunOnce(milliseconds(0)));
  signal.Set();
  EXPECT_TRUE(loop.RunOnce(kGenerousDeadline));
  EXPECT_EQ(calls, 1);
}

TEST(PollRunLoopTest, CallsAgainAsLongAsTheDescriptorStaysReadable) {
  PollRunLoop loop;
  Wakeup signal;
  int calls = 0;
  loop.AddSource(signal.Descriptor(), [&] { ++calls; });
  signal.Set();
  loop.RunOnce(milliseconds(0));
  loop.RunOnce(milliseconds(0));
  EXPECT_EQ(calls, 2);
  signal.Clear();
  EXPECT_FALSE(loop.RunOnce(milliseconds(0)));
}

TEST(PollRunLoopTest, RemovedSourceIsNotCalled) {
  PollRunLoop loop;
  Wakeup signal;
  const auto source = loop.AddSource(signal.Descriptor(), [] { FAIL() << "called after its removal"; });
  signal.Set();
  loop.RemoveSource(source);
  EXPECT_FALSE(loop.RunOnce(milliseconds(0)));
}

TEST(PollRunLoopTest, HandlerMayRemoveItsOwnSource) {
  PollRunLoop loop;
  Wakeup signal;
  int calls = 0;
  RunLoop::SourceId source = 0;
  const auto witness = std::make_shared<int>(42);
  source = loop.AddSource(signal.Descriptor(), [&, witness] {
    loop.RemoveSource(source);
    calls += *witness == 42 ? 1 : 0;  // the handler is still complete
  });
  signal.Set();
  EXPECT_TRUE(loop.RunOnce(milliseconds(0)));
  EXPECT_FALSE(loop.RunOnce(milliseconds(0)));
  EXPECT_EQ(calls, 1);
}

TEST(PollRunLoopTest, SourceRemovedByAnEarlierHandlerOfThePassIsNotCalled) {
  PollRunLoop loop;
  Wakeup first;
  Wakeup second;
  RunLoop::SourceId secondSource = 0;
  loop.AddSource(first.Descriptor(), [&] { loop.RemoveSource(secondSource); });
  secondSource = loop.AddSource(second.Descriptor(), [] { FAIL() << "called after its removal"; });
  first.Set();
  second.Set();
  EXPECT_TRUE(loop.RunOnce(milliseconds(0)));
}

TEST(PollRunLoopTest, HandlerMayAddSources) {
  PollRunLoop loop;
  Wakeup first;
  Wakeup second;
  bool called = false;
  loop.AddSource(first.Descriptor(), [&] {
    first.Clear();
    loop.AddSource(second.Descriptor(), [&] { called = true; });
  });
  first.Set();
  second.Set();
  loop.RunOnce(milliseconds(0));
  EXPECT_FALSE(called);
  loop.RunOnce(milliseconds(0));
  EXPECT_TRUE(called);
}

TEST(PollRunLoopTest, ExceptionsOfHandlersPassThroughAndLeaveTheLoopUsable) {
  PollRunLoop loop;
  Wakeup signal;
  bool fail = true;
  loop.AddSource(signal.Descriptor(), [&] {
    if (std::exchange(fail, false)) throw std::runtime_error("handler");
  });
  signal.Set();
  EXPECT_THROW(loop.RunOnce(milliseconds(0)), std::runtime_error);
  EXPECT_TRUE(loop.RunOnce(milliseconds(0)));
}

TEST(PollRunLoopTest, StopEndsRunAfterTheHandlerInProgress) {
  PollRunLoop loop;
  Wakeup first;
  Wakeup second;
  std::vector<int> calls;
  loop.AddSource(first.Descriptor(), [&] {
    loop.Stop();
    calls.push_back(1);
  });
  loop.AddSource(second.Descriptor(), [&] { calls.push_back(2); });
  first.Set();
  second.Set();
  loop.Run();
  EXPECT_EQ(calls, std::vector<int>{1});
}

TEST(PollRunLoopTest, StopBeforeRunEndsItAtOnce) {
  PollRunLoop loop;
  loop.Stop();
  loop.Run();  // returns, or the test runs out of time
}

TEST(PollRunLoopTest, StopFromAnotherThreadWakesRun) {
  PollRunLoop loop;
  std::atomic<bool> running{false};
  Wakeup signal;
  loop.AddSource(signal.Descriptor(), [&] {
    signal.Clear();
    running = true;
  });
  signal.Set();
  std::thread stopper([&] {
    EXPECT_TRUE(testing::Eventually([&] { return running.load(); }));
    loop.Stop();
  });
  loop.Run();
  stopper.join();
}

TEST(PollRunLoopTest, CanRunAgainAfterItWasStopped) {
  PollRunLoop loop;
  Wakeup signal;
  int calls = 0;
  loop.AddSource(signal.Descriptor(), [&] {
    ++calls;
    loop.Stop();
  });
  signal.Set();
  loop.Run();
  loop.Run();
  EXPECT_EQ(calls, 2);
}

TEST(PollRunLoopTest, AnyNegativeTimeoutWaitsWithoutLimit) {
  for (const milliseconds timeout : {milliseconds(-1), milliseconds(-(1LL << 32)), milliseconds::min()}) {
    PollRunLoop loop;
    Wakeup signal;
    loop.AddSource(signal.Descriptor(), [] {});
    std::thread setter([&, loopsThread = testing::OwnThread()] {
      EXPECT_TRUE(testing::Eventually([&] { return testing::IsWaiting(loopsThread); }));
      signal.Set();
    });
    EXPECT_TRUE(loop.RunOnce(timeout)) << timeout.count();
    setter.join();
  }
}

TEST(PollRunLoopTest, LargestTimeoutIsNoOverflow) {
  PollRunLoop loop;
  Wakeup signal;
  loop.AddSource(signal.Descriptor(), [] {});
  signal.Set();
  EXPECT_TRUE(loop.RunOnce(milliseconds::max()));
}

}  // namespace
}  // namespace vorn
