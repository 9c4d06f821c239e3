#pragma once

#include <sys/types.h>

#include <cstddef>
#include <mutex>
#include <vector>

namespace vorn {

/// Takes over children that nobody waits for any more, so that none stays a
/// zombie for good: those that were left to finish by themselves, and killed
/// ones that the kernel has not let go yet (one that sits in a driver cannot end
/// before the driver answers). Any thread.
class ChildReaper {
 public:
  ChildReaper() = default;
  ChildReaper(const ChildReaper&) = delete;
  ChildReaper& operator=(const ChildReaper&) = delete;
  ~ChildReaper() { Sweep(); }

  void Adopt(pid_t child);

  /// Reaps those that have ended meanwhile; returns how many are left. Does
  /// not block.
  std::size_t Sweep();

 private:
  std::mutex fMutex;
  std::vector<pid_t> fChildren;  // guarded by fMutex
};

}  // namespace vorn
