#pragma once

#include <unistd.h>

#include <utility>

namespace vorn {

/// Owns one file descriptor; -1 is none. The destructor closes it.
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

/// A descriptor for waking a thread: one thread waits for it, and another one makes it readable. It stays
/// readable until it is cleared, however often it was set.
///
/// @threadsafety Any thread may call Set and Clear at any time, and a signal handler may call Set. Neither
/// blocks.
class Wakeup {
 public:
  /// Not readable at first. Throws std::system_error if no descriptor is left.
  Wakeup();

  /// For poll() or a run loop. Only Set makes it readable.
  [[nodiscard]] int Descriptor() const noexcept { return fEvent.Get(); }

  void Set() const noexcept;
  void Clear() const noexcept;

 private:
  FileDescriptor fEvent;
};

}  // namespace vorn
