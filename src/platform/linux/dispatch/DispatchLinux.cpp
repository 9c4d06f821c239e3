#include "platform/linux/dispatch/DispatchLinux.h"

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/linux/dispatch/GuardedJob.h"

namespace vorn {

MainQueue::MainQueue(std::shared_ptr<RunLoop> loop)
    : fLoop(std::move(loop)), fWakeup(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!fWakeup) throw std::system_error(errno, std::generic_category(), "eventfd");
  fSource = fLoop->AddSource(fWakeup.Get(), [this] { RunNext(); });
}

MainQueue::~MainQueue() {
  fLoop->RemoveSource(fSource);
}

void MainQueue::Post(std::function<void()> job) {
  const std::lock_guard lock(fMutex);
  fJobs.push_back(std::move(job));
  ::eventfd_write(fWakeup.Get(), 1);
}

void MainQueue::RunNext() {
  std::function<void()> job;
  {
    const std::lock_guard lock(fMutex);
    if (!fJobs.empty()) {
      job = std::move(fJobs.front());
      fJobs.pop_front();
    }
    if (fJobs.empty()) {
      eventfd_t ignored = 0;
      ::eventfd_read(fWakeup.Get(), &ignored);
    }
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
