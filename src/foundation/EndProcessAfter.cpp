#include "foundation/EndProcessAfter.h"

#include <unistd.h>

#include <exception>
#include <thread>

namespace vorn {

void EndProcessAfter(std::chrono::milliseconds limit, int exitCode) noexcept {
  try {
    std::thread([limit, exitCode] {
      std::this_thread::sleep_for(limit);
      ::_exit(exitCode);
    }).detach();
  } catch (const std::exception&) {  // neither a thread nor the memory for one
  }
}

}  // namespace vorn
