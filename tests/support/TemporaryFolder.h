#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

namespace vorn::testing {

/// A separate folder for a test, removed with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "vorn-test-XXXXXX";
    fPath = ::mkdtemp(name.data());
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(fPath, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& Path() const { return fPath; }

 private:
  std::filesystem::path fPath;
};

}  // namespace vorn::testing
