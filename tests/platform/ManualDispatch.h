#pragma once

#include <deque>
#include <mutex>
#include <utility>
#include <vector>

#include "platform/Dispatch.h"

namespace vorn::testing {

/// Queues that run only when told to, on the thread that tells them. Any thread may post.
class ManualDispatch final : public Dispatch {
 public:
  void AsyncMain(Job job) override {
    const std::lock_guard lock(fMutex);
    fMain.push_back(std::move(job));
  }
  void AsyncBackground(Priority priority, Job job) override {
    const std::lock_guard lock(fMutex);
    fPriorities.push_back(priority);
    (priority == Priority::kHigh ? fHigh : fDefault).push_back(std::move(job));
  }

  /// These run what is there, and what comes meanwhile.
  void RunMain() { Run(fMain); }
  void RunHigh() { Run(fHigh); }
  void RunDefault() { Run(fDefault); }
  void RunBackground() {
    Run(fHigh);
    Run(fDefault);
  }
  /// The job of high priority that came last.
  void RunLastHigh() {
    std::unique_lock lock(fMutex);
    const Job job = std::move(fHigh.back());
    fHigh.pop_back();
    lock.unlock();
    job();
  }

  /// Of the background jobs, in the order posted.
  std::vector<Priority> Priorities() {
    const std::lock_guard lock(fMutex);
    return fPriorities;
  }

 private:
  void Run(std::deque<Job>& jobs) {
    for (;;) {
      Job job;
      {
        const std::lock_guard lock(fMutex);
        if (jobs.empty()) return;
        job = std::move(jobs.front());
        jobs.pop_front();
      }
      job();
    }
  }

  std::mutex fMutex;  // guards the members below
  std::deque<Job> fMain;
  std::deque<Job> fHigh;
  std::deque<Job> fDefault;
  std::vector<Priority> fPriorities;
};

}  // namespace vorn::testing
