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

/// A descriptor that one thread waits on and another one makes readable, to
/// wake it. It stays readable until it is cleared, however often it was set.
///
/// @threadsafety Set and Clear may be called by any thread at any time, and Set
/// by a signal handler. Neither blocks.
class Wakeup {
 public:
  /// Not readable. Throws std::system_error when no descriptor is left.
  Wakeup();

  /// For poll() or a run loop; what makes it readable is Set alone.
  [[nodiscard]] int Descriptor() const noexcept { return fEvent.Get(); }

  void Set() const noexcept;
  void Clear() const noexcept;

 private:
  FileDescriptor fEvent;
};

}  // namespace vorn
