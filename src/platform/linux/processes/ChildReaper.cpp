#include "platform/linux/processes/ChildReaper.h"

#include <sys/wait.h>

namespace vorn {

void ChildReaper::Adopt(pid_t child) {
  const std::lock_guard lock(fMutex);
  fChildren.push_back(child);
}

std::size_t ChildReaper::Sweep() {
  const std::lock_guard lock(fMutex);
  std::erase_if(fChildren, [](pid_t child) { return ::waitpid(child, nullptr, WNOHANG) != 0; });
  return fChildren.size();
}

}  // namespace vorn
