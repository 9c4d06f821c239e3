#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/Clock.h"
#include "foundation/RunLoop.h"
#include "foundation/RunLoopTimer.h"

namespace vorn {

class WorkLoop;

/// A piece of work that a loop can hold. The owner embeds it; the queue never
/// owns it. Fields are set before the item is first queued; from then on the
/// loop alone changes the due time.
struct WorkLoopItem {
  using Function = bool (*)(WorkLoopItem* item, void* context);

  WorkLoopItem() = default;
  WorkLoopItem(const WorkLoopItem&) = delete;
  WorkLoopItem& operator=(const WorkLoopItem&) = delete;
  virtual ~WorkLoopItem() = default;

  Function function = nullptr;  ///< what to run; null: nothing. Its result is ignored
  void* context = nullptr;      ///< handed to the function
  AbsoluteTime dueTime = 0;     ///< run at this date or later
  double interval = 0;          ///< seconds; how far a repeating item's due time advances
  bool repeat = false;          ///< stay queued after running
};

/// An item bound to one loop. Queue, DeQueue and destruction are safe on any
/// thread; the function runs on the loop's thread and never inside Queue.
/// Destroying an item while its function runs on another thread is not.
struct WorkItem : WorkLoopItem {
  ~WorkItem() override;

  void Init(WorkLoop* owner, Function newFunction, void* newContext);

  /// Asks for the item to run as soon as possible. Queuing an item that is
  /// queued already changes nothing, so several requests collapse into one run.
  /// Without a loop this does nothing.
  void Queue();

  /// Takes the item off the queue if it is there.
  void DeQueue();

  WorkLoop* loop = nullptr;  ///< not owned; outlives the item
};

/// An item that runs a function object.
struct CppWorkItem : WorkItem {
  CppWorkItem(WorkLoop* owner, std::function<bool()> work);
  ~CppWorkItem() override;

  static bool DoFunc(WorkLoopItem* item, void* context);

 private:
  std::function<bool()> fWork;
};

/// Base of objects that live on one thread and do their work there, whatever
/// thread asked for it. Binds to the run loop of the thread that constructs it;
/// all work loops of one thread share one queue and one timer.
class WorkLoop {
 public:
  class Impl;

  /// The calling thread's queue, made if there is none alive.
  static std::shared_ptr<Impl> GetThreadLocalWorkLoop();

  WorkLoop();
  WorkLoop(const WorkLoop&) = delete;
  WorkLoop& operator=(const WorkLoop&) = delete;
  virtual ~WorkLoop();

 private:
  friend struct WorkItem;
  std::shared_ptr<Impl> fImpl;
};

/// One thread's queue. Lives as long as the last WorkLoop of that thread.
class WorkLoop::Impl : public std::enable_shared_from_this<Impl> {
 public:
  /// Registers the timer with `loop`; on that loop's thread.
  explicit Impl(std::shared_ptr<RunLoop> loop, Now now = Clock::now);
  virtual ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  /// Queues the item, due now, and wakes the loop's thread. Any thread. Throws
  /// std::bad_alloc, with nothing queued, when there is no memory.
  void AddWorkItem(WorkItem* item);

  /// Takes the item off the queue if it is there. Any thread.
  void RemoveWorkItem(WorkItem* item);

  /// The next item that is due, or null after arming the timer for the
  /// earliest one. A repeating item stays queued with its due time advanced,
  /// though never to before now: a late one does not catch up run by run. Takes
  /// no memory: what is queued runs.
  WorkLoopItem* GetNextItem();

  /// a's due time is at or before b's. Deliberately not strict (MergeSort.h).
  static bool ItemSortComp(const WorkLoopItem* a, const WorkLoopItem* b);

  /// Runs every item that is due, those included that become due meanwhile.
  /// What an item's function throws is discarded. A function may destroy its
  /// own item and the thread's last WorkLoop.
  static void RunLoopTimerCallback(RunLoopTimer* timer, void* context);

  /// When the timer will fire next.
  [[nodiscard]] AbsoluteTime NextFireDate() const { return fTimer.NextFireDate(); }

 private:
  [[nodiscard]] AbsoluteTime CurrentTime() const { return AbsoluteTimeAt(fNow()); }

  const Now fNow;
  std::mutex fMutex;  // guards the two below and the due times of the items
  std::vector<WorkLoopItem*> fItems;
  std::vector<WorkLoopItem*> fMerged;  // sorting's working memory, with room for all items
  RunLoopTimer fTimer;
};

}  // namespace vorn
