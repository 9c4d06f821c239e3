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
  void AsyncMain(Job job) override { Post(fMain, std::move(job)); }
  void AsyncBackground(Priority priority, Job job) override {
    Post(priority == Priority::kHigh ? fHigh : fDefault, std::move(job));
    fPriorities.push_back(priority);
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
    const Job job = std::move(fHigh.back());
    fHigh.pop_back();
    job();
  }

  std::vector<Priority> fPriorities;  ///< of the background jobs, in the order posted

 private:
  void Post(std::deque<Job>& jobs, Job job) {
    const std::lock_guard lock(fMutex);
    jobs.push_back(std::move(job));
  }
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

  std::mutex fMutex;  // guards the queues
  std::deque<Job> fMain;
  std::deque<Job> fHigh;
  std::deque<Job> fDefault;
};

}  // namespace vorn::testing
