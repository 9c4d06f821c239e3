#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/linux/network/KernelLinks.h"
#include "tests/support/TemporaryFolder.h"

/// A device tree of network interfaces in a separate folder.
class FakeLinkTree {
 public:
  FakeLinkTree() { std::filesystem::create_directory(fDescriptions); }

  [[nodiscard]] const std::filesystem::path& Root() const { return fRoot; }

  [[nodiscard]] vorn::KernelLinks Links() const { return vorn::KernelLinks(fRoot, fDescriptions); }

  void Add(const std::string& name, unsigned index, int transmitQueues = 1, const std::string& extra = {}) {
    std::filesystem::create_directories(fRoot / name / "queues" / "rx-0");
    for (int i = 0; i < transmitQueues; ++i) {
      std::filesystem::create_directory(fRoot / name / "queues" / ("tx-" + std::to_string(i)));
    }
    std::ofstream(fRoot / name / "ifindex") << index << "\n";
    if (!extra.empty()) std::filesystem::create_directory(fRoot / name / extra);
  }

  /// What the device manager knows about the interface with this index.
  void Describe(unsigned index, const std::string& data) {
    std::ofstream(fDescriptions / ("n" + std::to_string(index))) << data;
  }

 private:
  const vorn::testing::TemporaryFolder fFolder;
  const vorn::testing::TemporaryFolder fDataFolder;
  const std::filesystem::path& fRoot = fFolder.Path();
  const std::filesystem::path fDescriptions = fDataFolder.Path() / "data";
};
