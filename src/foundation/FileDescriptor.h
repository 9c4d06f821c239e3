#pragma once

#include <unistd.h>

#include <utility>

namespace vorn {

/// Owns one file descriptor; -1 is none. Closes it when it goes.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) noexcept : fDescriptor(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : fDescriptor(std::exchange(other.fDescriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(fDescriptor, other.fDescriptor);
    return *this;
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() { Reset(); }

  explicit operator bool() const noexcept { return fDescriptor >= 0; }
  [[nodiscard]] int Get() const noexcept { return fDescriptor; }

  void Reset() noexcept {
    if (fDescriptor >= 0) ::close(std::exchange(fDescriptor, -1));
  }

 private:
  int fDescriptor = -1;
};

}  // namespace vorn
