#include "platform/linux/dispatch/DispatchLinux.h"

#include <utility>

#include "platform/linux/dispatch/GuardedJob.h"

namespace vorn {

MainQueue::MainQueue(std::shared_ptr<RunLoop> loop) : fLoop(std::move(loop)) {
  fSource = fLoop->AddSource(fWakeup.Descriptor(), [this] { RunNext(); });
}

MainQueue::~MainQueue() {
  fLoop->RemoveSource(fSource);
}

void MainQueue::Post(std::function<void()> job) {
  const std::lock_guard lock(fMutex);
  fJobs.push_back(std::move(job));
  fWakeup.Set();
}

void MainQueue::RunNext() {
  std::function<void()> job;
  {
    const std::lock_guard lock(fMutex);
    if (!fJobs.empty()) {
      job = std::move(fJobs.front());
      fJobs.pop_front();
    }
    if (fJobs.empty()) fWakeup.Clear();
  }
  if (job) RunGuarded(job);  // last: the job may destroy the queue
}

DispatchLinux::DispatchLinux(std::shared_ptr<RunLoop> mainLoop)
    : fMain(std::move(mainLoop)), fHigh("vorn-high", kThreadLimit), fDefault("vorn-default", kThreadLimit) {}

void DispatchLinux::AsyncMain(Job job) {
  fMain.Post(std::move(job));
}

void DispatchLinux::AsyncBackground(Priority priority, Job job) {
  (priority == Priority::kHigh ? fHigh : fDefault).Post(std::move(job));
}

}  // namespace vorn
