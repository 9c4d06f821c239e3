#include "platform/linux/dispatch/WorkerPool.h"

#include <exception>
#include <utility>

#include "foundation/Console.h"
#include "foundation/Thread.h"
#include "platform/linux/dispatch/GuardedJob.h"

namespace vorn {

WorkerPool::WorkerPool(std::string name, std::size_t limit) : fName(std::move(name)), fLimit(limit) {}

WorkerPool::~WorkerPool() {
  std::deque<std::function<void()>> dropped;  // destroyed last, outside the lock
  {
    const std::lock_guard lock(fMutex);
    fStop = true;
    dropped.swap(fJobs);
  }
  fChanged.notify_all();
  dropped.clear();  // before joining, because a running job may wait for one of these
  for (auto& thread : fThreads) thread.join();
}

void WorkerPool::Post(std::function<void()> job) {
  std::function<void()> dropped;
  bool couldNotStart = false;
  {
    const std::lock_guard lock(fMutex);
    if (fStop) {
      dropped = std::move(job);
      return;
    }
    fJobs.push_back(std::move(job));
    if (fIdle < fJobs.size() && fThreads.size() < fLimit) couldNotStart = !StartThread();
    if (fThreads.empty()) {
      dropped = std::move(fJobs.back());
      fJobs.pop_back();
    }
  }
  fChanged.notify_one();
  if (couldNotStart) WriteToConsole("No thread for background work could be started");
}

bool WorkerPool::StartThread() noexcept {
  try {
    fThreads.reserve(fThreads.size() + 1);  // before there is a thread to put there
    fThreads.push_back(vorn::StartThread(fName.c_str(), [this] { Work(); }));
  } catch (const std::exception&) {  // neither a thread nor the memory for one
    return false;
  }
  return true;
}

void WorkerPool::Work() {
  std::unique_lock lock(fMutex);
  for (;;) {
    ++fIdle;
    fChanged.wait(lock, [this] { return fStop || !fJobs.empty(); });
    --fIdle;
    if (fStop) return;
    std::function<void()> job = std::move(fJobs.front());
    fJobs.pop_front();
    lock.unlock();
    RunGuarded(job);
    job = nullptr;  // the job's contents are destroyed outside the lock
    lock.lock();
  }
}

}  // namespace vorn
