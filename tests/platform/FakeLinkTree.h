#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

/// A device tree of network interfaces in a folder of its own.
class FakeLinkTree {
 public:
  FakeLinkTree() {
    std::string pattern = std::filesystem::temp_directory_path() / "vorn-links-XXXXXX";
    fRoot = ::mkdtemp(pattern.data());
  }
  FakeLinkTree(const FakeLinkTree&) = delete;
  FakeLinkTree& operator=(const FakeLinkTree&) = delete;
  ~FakeLinkTree() { std::filesystem::remove_all(fRoot); }

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
  std::filesystem::path fRoot;
};
