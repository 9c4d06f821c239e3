#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/Optional.h"
#include "platform/ChildProcess.h"

namespace vorn {

/// The children that run, so that they can be brought to an end when the
/// program ends: toggles without a time limit, and listings. Any thread.
class RunningTools {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// Starts the toggle and waits for its end, however long that takes, unless
  /// Stop comes first. What it writes is read and dropped. Starts nothing after
  /// Stop.
  void Run(ChildProcessLauncher& launcher, const ChildProcessRequest& request);

  /// Collects the listing's output and blocks until the deadline in any case,
  /// unless StopListings comes first. Empty then, and where there is no child.
  [[nodiscard]] optional<ChildOutput> Watch(std::unique_ptr<ChildProcess> listing, TimePoint deadline);

  /// Ends the listings that are watched, now and from now on, with their
  /// children. Does not block.
  void StopListings();

  /// StopListings; then gives the toggles that run the grace to end by
  /// themselves, so that a change just chosen still takes effect, and
  /// terminates them. Blocks until every Run has returned.
  void Stop(std::chrono::milliseconds grace);

 private:
  using Children = std::vector<ChildProcess*>;  // each owned by the call that waits for it

  class Entry;

  std::mutex fMutex;  // guards the rest
  std::condition_variable fChanged;
  Children fToggles;
  Children fListings;
  bool fListingsStopped = false;
  bool fTogglesStopped = false;
};

}  // namespace vorn
