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

/// A piece of work that a loop can hold. The owner embeds it; the queue never owns it. Set the fields before
/// the item is first queued. After that, only the loop changes the due time.
struct WorkLoopItem {
  using Function = bool (*)(WorkLoopItem* item, void* context);

  WorkLoopItem() = default;
  WorkLoopItem(const WorkLoopItem&) = delete;
  WorkLoopItem& operator=(const WorkLoopItem&) = delete;
  virtual ~WorkLoopItem() = default;

  Function function = nullptr;  ///< what to run; null: nothing. Its result is ignored
  void* context = nullptr;      ///< passed to the function
  AbsoluteTime dueTime = 0;     ///< run at this date or later
  double interval = 0;          ///< seconds; a repeating item's due time advances by this
  bool repeat = false;          ///< stay queued after running
};

/// An item of one loop. Queue, DeQueue and destruction are safe on any thread. The function runs on the
/// loop's thread and never inside Queue. Do not destroy an item while its function runs on another thread.
struct WorkItem : WorkLoopItem {
  ~WorkItem() override;

  void Init(WorkLoop* owner, Function newFunction, void* newContext);

  /// Asks for the item to run as soon as possible. If the item is queued already, this changes nothing, so
  /// several requests become one run. Without a loop this does nothing.
  void Queue();

  /// Removes the item from the queue if it is there.
  void DeQueue();

  WorkLoop* loop = nullptr;  ///< not owned; lives longer than the item
};

/// An item that runs a function object.
struct CppWorkItem : WorkItem {
  CppWorkItem(WorkLoop* owner, std::function<bool()> work);
  ~CppWorkItem() override;

  static bool DoFunc(WorkLoopItem* item, void* context);

 private:
  std::function<bool()> fWork;
};

/// Base of objects that live on one thread and do their work there, whichever thread asked for it. It uses
/// the run loop of the thread that constructs it. All work loops of one thread share one queue and one timer.
class WorkLoop {
 public:
  class Impl;

  /// The calling thread's queue. It is made if none is alive.
  static std::shared_ptr<Impl> GetThreadLocalWorkLoop();

  WorkLoop();
  WorkLoop(const WorkLoop&) = delete;
  WorkLoop& operator=(const WorkLoop&) = delete;
  virtual ~WorkLoop();

 private:
  friend struct WorkItem;
  std::shared_ptr<Impl> fImpl;
};

/// One thread's queue. It lives as long as the last WorkLoop of that thread.
class WorkLoop::Impl : public std::enable_shared_from_this<Impl> {
 public:
  /// Registers the timer with `loop`. Call on that loop's thread.
  explicit Impl(std::shared_ptr<RunLoop> loop, Now now = Clock::now);
  virtual ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  /// Queues the item, due now, and wakes the loop's thread. Any thread. Throws std::bad_alloc if there is no
  /// memory, and then nothing is queued.
  void AddWorkItem(WorkItem* item);

  /// Removes the item from the queue if it is there. Any thread.
  void RemoveWorkItem(WorkItem* item);

  /// The next due item. If there is none, arms the timer for the earliest item and returns null. A repeating
  /// item stays queued, and its due time advances, but never to before now: a late item does not repeat
  /// missed runs. Allocates no memory, so queued items always run.
  WorkLoopItem* GetNextItem();

  /// Whether a's due time is at or before b's. Not strict on purpose (MergeSort.h).
  static bool ItemSortComp(const WorkLoopItem* a, const WorkLoopItem* b);

  /// Runs every item that is due, also items that become due in the meantime. Exceptions of an item's
  /// function are discarded. A function may destroy its own item and the thread's last WorkLoop.
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
