#include "foundation/WorkLoop.h"

#include <algorithm>
#include <map>
#include <thread>
#include <utility>

#include "foundation/MergeSort.h"

namespace vorn {

WorkItem::~WorkItem() {
  DeQueue();
}

void WorkItem::Init(WorkLoop* owner, Function newFunction, void* newContext) {
  loop = owner;
  function = newFunction;
  context = newContext;
}

void WorkItem::Queue() {
  if (loop != nullptr) loop->fImpl->AddWorkItem(this);
}

void WorkItem::DeQueue() {
  if (loop != nullptr) loop->fImpl->RemoveWorkItem(this);
}

CppWorkItem::CppWorkItem(WorkLoop* owner, std::function<bool()> work) : fWork(std::move(work)) {
  Init(owner, DoFunc, this);
}

// Remove it from the queue before the function goes, because the loop's thread may be about to take the item.
CppWorkItem::~CppWorkItem() {
  DeQueue();
}

bool CppWorkItem::DoFunc(WorkLoopItem* /*item*/, void* context) {
  return static_cast<CppWorkItem*>(context)->fWork();
}

std::shared_ptr<WorkLoop::Impl> WorkLoop::GetThreadLocalWorkLoop() {
  static std::mutex registryMutex;
  static std::map<std::thread::id, std::weak_ptr<Impl>> registry;

  const std::lock_guard lock(registryMutex);
  std::weak_ptr<Impl>& entry = registry[std::this_thread::get_id()];
  auto impl = entry.lock();
  if (!impl) {
    impl = std::make_shared<Impl>(RunLoop::Current());
    entry = impl;
  }
  return impl;
}

WorkLoop::WorkLoop() : fImpl(GetThreadLocalWorkLoop()) {}
WorkLoop::~WorkLoop() = default;

WorkLoop::Impl::Impl(std::shared_ptr<RunLoop> loop, Now now)
    : fNow(std::move(now)),
      fTimer(std::move(loop), CurrentTime() + kNever, [this] { RunLoopTimerCallback(&fTimer, this); }) {}

WorkLoop::Impl::~Impl() = default;

void WorkLoop::Impl::AddWorkItem(WorkItem* item) {
  const std::lock_guard lock(fMutex);
  if (item == nullptr || std::find(fItems.begin(), fItems.end(), item) != fItems.end()) return;
  item->dueTime = CurrentTime();
  fMerged.reserve(fItems.size() + 1);
  fItems.push_back(item);
  fTimer.SetNextFireDate(0.0);
}

void WorkLoop::Impl::RemoveWorkItem(WorkItem* item) {
  const std::lock_guard lock(fMutex);
  std::erase(fItems, item);
}

bool WorkLoop::Impl::ItemSortComp(const WorkLoopItem* a, const WorkLoopItem* b) {
  return a != nullptr && b != nullptr && a->dueTime <= b->dueTime;
}

WorkLoopItem* WorkLoop::Impl::GetNextItem() {
  const std::lock_guard lock(fMutex);
  MergeSort(fItems, fMerged, ItemSortComp);
  const AbsoluteTime now = CurrentTime();
  if (fItems.empty()) {
    fTimer.SetNextFireDate(now + kNever);
    return nullptr;
  }
  WorkLoopItem* first = fItems.front();
  if (now < first->dueTime) {
    fTimer.SetNextFireDate(first->dueTime);
    return nullptr;
  }
  if (first->repeat) {
    first->dueTime = std::max(first->dueTime + first->interval, CurrentTime());
  } else {
    fItems.erase(fItems.begin());
  }
  return first;
}

void WorkLoop::Impl::RunLoopTimerCallback(RunLoopTimer* /*timer*/, void* context) {
  auto* impl = static_cast<Impl*>(context);
  if (impl == nullptr) return;
  const auto keptWhole = impl->weak_from_this().lock();  // an item may destroy the last WorkLoop
  while (WorkLoopItem* item = impl->GetNextItem()) {
    if (item->function == nullptr) continue;
    try {
      item->function(item, item->context);
    } catch (...) {  // the failure of one item must not affect the others
    }
  }
}

}  // namespace vorn
