#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "foundation/RunLoop.h"
#include "foundation/WorkLoop.h"
#include "tests/support/TurnLoop.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;
using testing::kGenerousDeadline;

Clock::time_point AfterSeconds(double seconds) {
  return Clock::time_point(
      std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds)));
}

// The date when the clock shows that many seconds.
AbsoluteTime Date(double seconds) {
  return AbsoluteTimeAt(AfterSeconds(seconds));
}

// A queue whose clock the test sets and whose items it takes itself.
class WorkQueueTest : public ::testing::Test {
 protected:
  void SetTime(double seconds) { fNow = AfterSeconds(seconds); }

  // Takes the next items; a letter for each, "-" for none.
  std::string Next(int count = 1) {
    std::string taken;
    for (int i = 0; i < count; ++i) {
      const WorkLoopItem* item = fQueue.GetNextItem();
      taken += item == nullptr ? '-' : item == &fA ? 'a' : item == &fB ? 'b' : 'c';
    }
    return taken;
  }

  Clock::time_point fNow = AfterSeconds(1000);
  WorkLoop::Impl fQueue{std::make_shared<PollRunLoop>(), [this] { return fNow; }};
  WorkItem fA;
  WorkItem fB;
  WorkItem fC;
};

TEST_F(WorkQueueTest, NewItemIsAllZero) {
  EXPECT_EQ(fA.function, nullptr);
  EXPECT_EQ(fA.context, nullptr);
  EXPECT_EQ(fA.dueTime, 0);
  EXPECT_EQ(fA.interval, 0);
  EXPECT_FALSE(fA.repeat);
  EXPECT_EQ(fA.loop, nullptr);
}

TEST_F(WorkQueueTest, TimerNeverFiresToBeginWith) {
  EXPECT_EQ(fQueue.NextFireDate(), kNever);
}

TEST_F(WorkQueueTest, QueuedItemIsDueNowAndTheTimerFiresAtOnce) {
  fQueue.AddWorkItem(&fA);
  EXPECT_EQ(fA.dueTime, Date(1000));
  EXPECT_EQ(fQueue.NextFireDate(), 0.0);
}

TEST_F(WorkQueueTest, EmptyQueueSetsTheTimerToNever) {
  fQueue.AddWorkItem(&fA);
  EXPECT_EQ(Next(2), "a-");
  EXPECT_EQ(fQueue.NextFireDate(), kNever);
}

TEST_F(WorkQueueTest, NullItemIsIgnored) {
  fQueue.AddWorkItem(nullptr);
  EXPECT_EQ(fQueue.NextFireDate(), kNever);
  EXPECT_EQ(Next(), "-");
}

TEST_F(WorkQueueTest, ItemQueuedAgainKeepsItsDueTimeAndComesOnce) {
  fQueue.AddWorkItem(&fA);
  SetTime(1005);
  fQueue.AddWorkItem(&fA);
  EXPECT_EQ(fA.dueTime, Date(1000));
  EXPECT_EQ(Next(2), "a-");
}

TEST_F(WorkQueueTest, ItemsComeInTheOrderOfTheirDueTimes) {
  fQueue.AddWorkItem(&fA);
  SetTime(999);
  fQueue.AddWorkItem(&fB);
  SetTime(998);
  fQueue.AddWorkItem(&fC);
  SetTime(2000);
  EXPECT_EQ(Next(4), "cba-");
}

TEST_F(WorkQueueTest, ItemThatIsNotDueArmsTheTimerForIt) {
  fQueue.AddWorkItem(&fA);
  SetTime(999.5);
  EXPECT_EQ(Next(), "-");
  EXPECT_EQ(fQueue.NextFireDate(), Date(1000));
  SetTime(1000);
  EXPECT_EQ(Next(), "a");
}

TEST_F(WorkQueueTest, EqualDueTimesSwapOnEachSort) {
  fQueue.AddWorkItem(&fA);
  fQueue.AddWorkItem(&fB);
  EXPECT_EQ(Next(2), "ba");

  for (int sortsBefore = 0; sortsBefore < 4; ++sortsBefore) {
    SetTime(1000);
    fQueue.AddWorkItem(&fA);
    fQueue.AddWorkItem(&fB);
    SetTime(999);
    for (int i = 0; i < sortsBefore; ++i) EXPECT_EQ(Next(), "-");  // sorts and takes none
    SetTime(1000);
    EXPECT_EQ(Next(2), sortsBefore % 2 == 0 ? "ba" : "ab") << sortsBefore;
  }
}

TEST_F(WorkQueueTest, OrderIsNotStrictAndFalseForNull) {
  fA.dueTime = fB.dueTime = 5;
  fC.dueTime = 6;
  EXPECT_TRUE(WorkLoop::Impl::ItemSortComp(&fA, &fB));
  EXPECT_TRUE(WorkLoop::Impl::ItemSortComp(&fB, &fA));
  EXPECT_TRUE(WorkLoop::Impl::ItemSortComp(&fA, &fC));
  EXPECT_FALSE(WorkLoop::Impl::ItemSortComp(&fC, &fA));
  EXPECT_FALSE(WorkLoop::Impl::ItemSortComp(nullptr, &fA));
  EXPECT_FALSE(WorkLoop::Impl::ItemSortComp(&fA, nullptr));
}

TEST_F(WorkQueueTest, RepeatingItemTwelveSecondsLateIsDueAtOnceAndThenEveryFiveSeconds) {
  fA.repeat = true;
  fA.interval = 5;
  fQueue.AddWorkItem(&fA);
  SetTime(1012);
  EXPECT_EQ(Next(), "a");
  EXPECT_EQ(fA.dueTime, Date(1012));
  EXPECT_EQ(Next(), "a");
  EXPECT_EQ(fA.dueTime, Date(1017));
  EXPECT_EQ(Next(), "-");
  EXPECT_EQ(fQueue.NextFireDate(), Date(1017));
  SetTime(1017);
  EXPECT_EQ(Next(2), "a-");
  EXPECT_EQ(fA.dueTime, Date(1022));
}

TEST_F(WorkQueueTest, PunctualRepeatingItemKeepsItsRhythm) {
  fA.repeat = true;
  fA.interval = 5;
  fQueue.AddWorkItem(&fA);
  SetTime(1000.25);
  EXPECT_EQ(Next(), "a");
  EXPECT_EQ(fA.dueTime, Date(1005));
}

TEST_F(WorkQueueTest, RemovedItemDoesNotCome) {
  fQueue.AddWorkItem(&fA);
  fQueue.AddWorkItem(&fB);
  fQueue.RemoveWorkItem(&fB);
  fQueue.RemoveWorkItem(&fC);  // not there
  EXPECT_EQ(Next(2), "a-");
}

TEST_F(WorkQueueTest, CallbackWithoutQueueDoesNothing) {
  WorkLoop::Impl::RunLoopTimerCallback(nullptr, nullptr);
}

TEST_F(WorkQueueTest, ItemWithoutFunctionIsTakenAndSkipped) {
  int calls = 0;
  fB.function = [](WorkLoopItem*, void* context) {
    ++*static_cast<int*>(context);
    return true;
  };
  fB.context = &calls;
  fQueue.AddWorkItem(&fA);
  fQueue.AddWorkItem(&fB);
  WorkLoop::Impl::RunLoopTimerCallback(nullptr, &fQueue);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(Next(), "-");
}

// Work loops of the test's own thread, served by its run loop.
class WorkLoopTest : public ::testing::Test {
 protected:
  void RunOnce() { EXPECT_TRUE(PollRunLoop::Current()->RunOnce(kGenerousDeadline)); }

  // Turns the loop until a timer has fired that was set after all others.
  void Settle() {
    bool fired = false;
    const RunLoopTimer last(RunLoop::Current(), 0.0, [&] { fired = true; });
    while (!fired) RunOnce();
  }

  WorkLoop fLoop;
};

TEST_F(WorkLoopTest, ItemQueuedThreeTimesRunsOnce) {
  int runs = 0;
  CppWorkItem item(&fLoop, [&] { return ++runs > 0; });
  for (int i = 0; i < 3; ++i) item.Queue();
  EXPECT_EQ(runs, 0);
  RunOnce();
  Settle();
  EXPECT_EQ(runs, 1);
}

TEST_F(WorkLoopTest, ItemRunsAgainWhenQueuedAgain) {
  int runs = 0;
  CppWorkItem item(&fLoop, [&] { return ++runs > 0; });
  for (int i = 0; i < 3; ++i) {
    item.Queue();
    RunOnce();
  }
  EXPECT_EQ(runs, 3);
}

TEST_F(WorkLoopTest, ResultNeitherRequeuesNorDequeues) {
  for (const bool result : {false, true}) {
    int runs = 0;
    CppWorkItem item(&fLoop, [&] {
      ++runs;
      return result;
    });
    item.Queue();
    RunOnce();
    Settle();
    EXPECT_EQ(runs, 1);
  }
}

TEST_F(WorkLoopTest, ItemQueuedByAnotherThreadRunsOnTheLoopsThread) {
  std::thread::id ranOn;
  CppWorkItem item(&fLoop, [&] {
    ranOn = std::this_thread::get_id();
    return true;
  });
  std::thread queuer([&] { item.Queue(); });
  RunOnce();
  queuer.join();
  EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST_F(WorkLoopTest, DequeuedItemDoesNotRun) {
  CppWorkItem item(&fLoop, [] {
    ADD_FAILURE() << "ran";
    return true;
  });
  item.Queue();
  item.DeQueue();
  RunOnce();
  item.DeQueue();  // not queued: nothing to do
}

TEST_F(WorkLoopTest, ItemDestroyedWhileQueuedNeverRuns) {
  int runs = 0;
  CppWorkItem survivor(&fLoop, [&] { return ++runs > 0; });
  {
    CppWorkItem doomed(&fLoop, [] {
      ADD_FAILURE() << "ran";
      return true;
    });
    doomed.Queue();
    survivor.Queue();
  }
  RunOnce();
  EXPECT_EQ(runs, 1);
}

// Otherwise the loop's thread could run a function that another thread is destroying.
TEST_F(WorkLoopTest, ItemLeavesTheQueueBeforeItsFunctionIsDestroyed) {
  const auto queue = WorkLoop::GetThreadLocalWorkLoop();
  bool queuedDuringDestruction = false;
  struct Probe {
    std::function<void()> onDestruction;
    ~Probe() { onDestruction(); }
  };
  {
    auto probe = std::make_shared<Probe>();
    probe->onDestruction = [&] { queuedDuringDestruction = queue->GetNextItem() != nullptr; };
    CppWorkItem doomed(&fLoop, [probe] { return true; });
    probe.reset();
    doomed.Queue();
  }
  EXPECT_FALSE(queuedDuringDestruction);
}

TEST_F(WorkLoopTest, FunctionThatThrowsDoesNotKeepTheOthersFromRunning) {
  int runs = 0;
  CppWorkItem before(&fLoop, [&] { return ++runs > 0; });
  CppWorkItem thrower(&fLoop, []() -> bool { throw std::runtime_error("item"); });
  CppWorkItem strangeThrower(&fLoop, []() -> bool { throw 42; });
  CppWorkItem empty(&fLoop, std::function<bool()>());
  CppWorkItem after(&fLoop, [&] { return ++runs > 0; });
  for (CppWorkItem* item : {&before, &thrower, &strangeThrower, &empty, &after}) item->Queue();
  RunOnce();
  EXPECT_EQ(runs, 2);
}

TEST_F(WorkLoopTest, EmptyFunctionObjectRaisesBadFunctionCall) {
  CppWorkItem item(&fLoop, std::function<bool()>());
  EXPECT_THROW(CppWorkItem::DoFunc(&item, &item), std::bad_function_call);
}

TEST_F(WorkLoopTest, DoFuncReturnsTheFunctionsResult) {
  CppWorkItem yes(&fLoop, [] { return true; });
  CppWorkItem no(&fLoop, [] { return false; });
  EXPECT_TRUE(CppWorkItem::DoFunc(&yes, &yes));
  EXPECT_FALSE(CppWorkItem::DoFunc(&no, &no));
}

TEST_F(WorkLoopTest, ItemsQueuedByAFunctionRunInTheSamePass) {
  int runs = 0;
  CppWorkItem second(&fLoop, [&] { return ++runs > 0; });
  CppWorkItem* self = nullptr;
  CppWorkItem first(&fLoop, [&] {
    second.Queue();
    if (++runs == 1) self->Queue();  // itself, once
    return true;
  });
  self = &first;
  first.Queue();
  RunOnce();
  EXPECT_GE(runs, 3);
  EXPECT_EQ(WorkLoop::GetThreadLocalWorkLoop()->GetNextItem(), nullptr);
}

TEST_F(WorkLoopTest, ItemWithoutLoopIgnoresQueueAndDeQueue) {
  WorkItem item;
  item.Queue();
  item.DeQueue();
  Settle();
}

TEST_F(WorkLoopTest, InitSetsLoopFunctionAndContext) {
  WorkItem item;
  int runs = 0;
  item.Init(
      &fLoop,
      [](WorkLoopItem*, void* context) {
        ++*static_cast<int*>(context);
        return true;
      },
      &runs);
  item.Queue();
  RunOnce();
  EXPECT_EQ(runs, 1);
}

TEST_F(WorkLoopTest, LoopsOfOneThreadShareOneQueueAndThreadsDoNot) {
  WorkLoop second;
  const auto queue = WorkLoop::GetThreadLocalWorkLoop();
  EXPECT_EQ(queue, WorkLoop::GetThreadLocalWorkLoop());
  std::string order;
  CppWorkItem ofFirst(&fLoop, [&] { return !(order += '1').empty(); });
  CppWorkItem ofSecond(&second, [&] { return !(order += '2').empty(); });
  ofFirst.Queue();
  ofSecond.Queue();
  RunOnce();
  EXPECT_TRUE(order == "12" || order == "21") << order;  // the same date sorts either way
  std::thread([&] { EXPECT_NE(WorkLoop::GetThreadLocalWorkLoop(), queue); }).join();
}

TEST(WorkLoopLifeTest, QueueLivesAsLongAsTheThreadsLastLoop) {
  std::weak_ptr<WorkLoop::Impl> queue;
  {
    auto first = std::make_unique<WorkLoop>();
    const WorkLoop second;
    queue = WorkLoop::GetThreadLocalWorkLoop();
    first.reset();
    EXPECT_FALSE(queue.expired());
  }
  EXPECT_TRUE(queue.expired());

  const WorkLoop later;
  int runs = 0;
  CppWorkItem item(const_cast<WorkLoop*>(&later), [&] { return ++runs > 0; });
  item.Queue();
  EXPECT_TRUE(PollRunLoop::Current()->RunOnce(kGenerousDeadline));
  EXPECT_EQ(runs, 1);
}

TEST(WorkLoopLifeTest, FunctionMayDestroyItsItemAndTheThreadsLastLoop) {
  struct Owner : WorkLoop {
    explicit Owner(std::unique_ptr<Owner>& self)
        : item(this, [&self] {
            self.reset();
            return true;
          }) {}
    CppWorkItem item;
  };
  std::unique_ptr<Owner> owner;
  owner = std::make_unique<Owner>(owner);
  const std::weak_ptr<WorkLoop::Impl> queue = WorkLoop::GetThreadLocalWorkLoop();
  owner->item.Queue();
  EXPECT_TRUE(PollRunLoop::Current()->RunOnce(kGenerousDeadline));
  EXPECT_EQ(owner, nullptr);
  EXPECT_TRUE(queue.expired());
}

TEST(WorkLoopThreadsTest, ItemsOfManyThreadsAllRunAfterTheirLastRequest) {
  constexpr int kThreads = 4;
  constexpr int kRequests = 500;
  WorkLoop loop;
  std::atomic<int> requested[kThreads] = {};
  int seen[kThreads] = {};
  std::vector<std::unique_ptr<CppWorkItem>> items;
  for (int i = 0; i < kThreads; ++i) {
    items.push_back(std::make_unique<CppWorkItem>(&loop, [&seen, &requested, i] {
      seen[i] = requested[i];
      return true;
    }));
  }
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int request = 1; request <= kRequests; ++request) {
        requested[i] = request;
        items[i]->Queue();
      }
    });
  }
  EXPECT_TRUE(testing::TurnLoopUntil([&] {
    for (const int value : seen) {
      if (value != kRequests) return false;
    }
    return true;
  }));
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace vorn
