#include "bench/ProcessFigures.h"

#include <time.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace vorn::bench {

ProcessFigures ProcessFigures::Read() {
  ProcessFigures figures;
  std::ifstream status("/proc/self/status");
  for (std::string name; status >> name;) {
    if (name == "Threads:") status >> figures.threads;
    if (name == "VmRSS:") status >> figures.residentKiB;
    std::getline(status, name);
  }
  for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;  // the listing's own
    const auto target = std::filesystem::read_symlink(descriptor, gone).string();
    ++figures.descriptors;
    if (target.starts_with("socket:")) ++figures.sockets;
  }
  --figures.descriptors;  // the listing's own
  timespec processor{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &processor);
  figures.processorSeconds =
      static_cast<double>(processor.tv_sec) + static_cast<double>(processor.tv_nsec) * 1e-9;
  return figures;
}

}  // namespace vorn::bench
