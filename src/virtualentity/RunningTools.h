#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "foundation/Clock.h"
#include "platform/ChildProcess.h"

namespace vorn {

/// The running children. The program's end waits for none of them: listings are ended, toggles finish by
/// themselves. Any thread.
class RunningTools {
 public:
  /// Starts the toggle and waits for its end, however long that takes, unless Stop comes first. Starts
  /// nothing after Stop.
  void Run(ChildProcessLauncher& launcher, const ChildProcessRequest& request);

  /// Collects the listing's output. Always blocks until the deadline, unless StopListings comes first. Empty
  /// in that case, and if there is no child.
  [[nodiscard]] std::optional<ChildOutput> Watch(std::unique_ptr<ChildProcess> listing,
                                                 Clock::time_point deadline);

  /// Ends the current and all later listings, with their children. Does not block.
  void StopListings();

  /// StopListings; then lets running toggles finish by themselves. Blocks until every Run has returned, which
  /// waits for no tool.
  void Stop();

 private:
  using Children = std::vector<ChildProcess*>;  // each owned by the call that waits for it

  class Entry;

  std::mutex fMutex;  // guards the members below
  std::condition_variable fChanged;
  Children fToggles;
  Children fListings;
  bool fListingsStopped = false;
  bool fTogglesStopped = false;
};

}  // namespace vorn
