#include "bench/ProcessFigures.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace vorn::bench {

ProcessFigures ProcessFigures::Read() {
  ProcessFigures figures;
  std::ifstream status("/proc/self/status");
  for (std::string name; status >> name;) {
    if (name == "Threads:") status >> figures.threads;
    if (name == "VmRSS:") status >> figures.residentKiB;
    std::getline(status, name);
  }
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  const auto open = std::distance(begin(descriptors), end(descriptors));
  figures.descriptors = static_cast<std::size_t>(open) - 1;  // one is the listing's own
  return figures;
}

}  // namespace vorn::bench
