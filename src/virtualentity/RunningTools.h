#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/ChildProcess.h"

namespace vorn {

/// The children that run without a time limit, so that they can be brought to
/// an end when the program ends. Any thread.
class RunningTools {
 public:
  /// Starts the request and waits for its end, however long that takes, unless
  /// Stop comes first. What it writes is read and dropped. Starts nothing after
  /// Stop.
  void Run(ChildProcessLauncher& launcher, const ChildProcessRequest& request);

  /// Gives those that run the grace to end by themselves, so that a change just
  /// chosen still takes effect, then terminates them. Blocks until every Run
  /// has returned.
  void Stop(std::chrono::milliseconds grace);

 private:
  std::mutex fMutex;  // guards the rest
  std::condition_variable fEnded;
  std::vector<ChildProcess*> fChildren;  // each owned by the Run that waits for it
  bool fStopping = false;
};

}  // namespace vorn
