#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/TemporaryFolder.h"

/// A device tree of network interfaces in a folder of its own.
class FakeLinkTree {
 public:
  [[nodiscard]] const std::filesystem::path& Root() const { return fRoot; }

  void Add(const std::string& name, unsigned index, int transmitQueues = 1, const std::string& extra = {}) {
    std::filesystem::create_directories(fRoot / name / "queues" / "rx-0");
    for (int i = 0; i < transmitQueues; ++i) {
      std::filesystem::create_directory(fRoot / name / "queues" / ("tx-" + std::to_string(i)));
    }
    std::ofstream(fRoot / name / "ifindex") << index << "\n";
    if (!extra.empty()) std::filesystem::create_directory(fRoot / name / extra);
  }

 private:
  const vorn::testing::TemporaryFolder fFolder;
  const std::filesystem::path& fRoot = fFolder.Path();
};
