// What opening a settings file takes: its first and only reading by this process. Prints JSON.
//
//   bench_settings_read PATH

#include <nlohmann/json.hpp>

#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "bench/ProcessFigures.h"
#include "foundation/Clock.h"
#include "platform/linux/settings/IniUserDefaults.h"

namespace {

// The most memory that this process has had.
std::size_t PeakKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stoul(line.substr(6));
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  using vorn::bench::ProcessFigures;
  const auto before = ProcessFigures::Read();
  const auto start = vorn::Clock::now();
  const auto defaults = vorn::IniUserDefaults::ReadOnly(argv[1]);
  const std::chrono::duration<double> elapsed = vorn::Clock::now() - start;
  if (!defaults.GetBool("AlreadyRun")) return 1;  // the last line of the file
  const auto after = ProcessFigures::Read();
  std::cout << nlohmann::json{{"seconds", elapsed.count()},
                              {"processorSeconds", after.processorSeconds - before.processorSeconds},
                              {"peakKiB", PeakKiB() - before.residentKiB},
                              {"residentKiB", after.residentKiB - before.residentKiB}};
  return 0;
}
