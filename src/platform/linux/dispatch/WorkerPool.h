#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vorn {

/// A bounded pool of threads that work on one queue. A thread is started when a job comes and none is idle,
/// up to the limit. It then stays. The threads receive no signals.
class WorkerPool {
 public:
  /// The name appears in process listings; at most 15 bytes. Starts no thread.
  WorkerPool(std::string name, std::size_t limit);
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// Drops the jobs that have not started and waits for the others. Do not call it on one of the pool's own
  /// threads.
  ~WorkerPool();

  /// Appends the job. Any thread. If not even a first thread can be started, the job is dropped, with a
  /// console message.
  void Post(std::function<void()> job);

 private:
  [[nodiscard]] bool StartThread() noexcept;
  void Work();

  const std::string fName;
  const std::size_t fLimit;
  std::mutex fMutex;  // guards everything below
  std::condition_variable fChanged;
  std::deque<std::function<void()>> fJobs;
  std::size_t fIdle = 0;
  bool fStop = false;
  std::vector<std::thread> fThreads;
};

}  // namespace vorn
