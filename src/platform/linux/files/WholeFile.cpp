#include "platform/linux/files/WholeFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <thread>

#include "foundation/Clock.h"

namespace vorn {
namespace {

using namespace std::chrono_literals;

constexpr auto kLockRetry = 2ms;
constexpr int kMostTurns = 100;  // of other writers of the same file before ours
constexpr int kMaxLinks = 40;

bool Fail(int error) {
  errno = error;
  return false;
}

std::nullopt_t Unread(int error) {
  errno = error;
  return std::nullopt;
}

// Whether the name still leads to the open file. Another writer may have renamed or removed it before we had
// its lock.
bool IsStillAt(const FileDescriptor& file, const std::string& name) {
  struct stat open {};
  struct stat named {};
  return ::fstat(file.Get(), &open) == 0 && ::lstat(name.c_str(), &named) == 0 &&
         open.st_ino == named.st_ino && open.st_dev == named.st_dev;
}

// Removes the file of a writer that has gone, and waits for one that still writes. False, with errno, if that
// takes too long.
bool RemoveLeftover(const std::string& name, std::chrono::milliseconds patience) {
  const FileDescriptor leftover(::open(name.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!leftover) return errno == ENOENT || (errno == ELOOP && ::unlink(name.c_str()) == 0);
  if (!LockFile(leftover, patience)) return false;
  return !IsStillAt(leftover, name) || ::unlink(name.c_str()) == 0;
}

// A file of our own with that name, locked. None, with errno, on failure.
FileDescriptor MakeFile(const std::string& name, ::mode_t mode, std::chrono::milliseconds patience) {
  const auto end = Clock::now() + patience;
  for (int turn = 0; turn < kMostTurns; ++turn) {
    // Opened with its final permissions, because the kernel must apply the mask: a program can only ask for
    // the mask by setting it.
    FileDescriptor file(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (file && LockFile(file, 0ms) && IsStillAt(file, name)) return file;
    const bool isTaken = file || errno == EEXIST;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
    if (!isTaken || !RemoveLeftover(name, left)) return {};
  }
  errno = EWOULDBLOCK;
  return {};
}

bool WriteAll(const FileDescriptor& file, std::string_view content) {
  while (!content.empty()) {
    const auto written = ::write(file.Get(), content.data(), content.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

void SyncFolder(const std::filesystem::path& folder) {
  const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor) ::fsync(descriptor.Get());
}

}  // namespace

bool ReplaceFile(const std::filesystem::path& path, std::string_view content, Readers readers,
                 std::chrono::milliseconds patience) {
  constexpr ::mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
  const ::mode_t mode = readers == Readers::kOwner ? kOwnerOnly : kOwnerOnly | S_IRGRP | S_IROTH;
  const bool ignoresMask = readers != Readers::kAll;
  const std::string name = path.string() + ".new";
  const FileDescriptor file = MakeFile(name, mode, patience);
  if (!file) return false;
  if ((ignoresMask && ::fchmod(file.Get(), mode) != 0) || !WriteAll(file, content) ||
      ::fsync(file.Get()) != 0 || std::rename(name.c_str(), path.c_str()) != 0) {
    const int error = errno;
    ::unlink(name.c_str());
    return Fail(error);
  }
  SyncFolder(path.parent_path());
  return true;
}

std::filesystem::path FileBehindLinks(std::filesystem::path path) {
  std::error_code none;
  for (int links = 0; links < kMaxLinks && std::filesystem::is_symlink(path, none); ++links) {
    path = path.parent_path() / std::filesystem::read_symlink(path, none);
  }
  return path;
}

std::optional<std::string> ReadFile(const std::filesystem::path& path, std::size_t maximum) {
  // Not blocking, because a FIFO of that name would wait for its writer.
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) return {};
  struct stat status {};
  if (::fstat(file.Get(), &status) != 0) return Unread(EIO);
  if (!S_ISREG(status.st_mode)) return Unread(EINVAL);
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > maximum) return Unread(EFBIG);
  std::string content(size, '\0');
  std::size_t length = 0;
  while (length < size) {
    const auto count = ::read(file.Get(), &content[length], size - length);
    if (count < 0 && errno != EINTR) return Unread(EIO);
    if (count == 0) break;
    if (count > 0) length += static_cast<std::size_t>(count);
  }
  content.resize(length);
  return content;
}

bool IsExecutableFile(const std::filesystem::path& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

bool MakePrivateFolder(const std::filesystem::path& folder) {
  if (::mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST) return true;
  if (errno != ENOENT || !folder.has_relative_path()) return false;
  return MakePrivateFolder(folder.parent_path()) &&
         (::mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST);
}

bool LockFile(const FileDescriptor& file, std::chrono::milliseconds patience) {
  const auto end = Clock::now() + patience;
  while (::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) return true;  // another holder is not the cause
    if (Clock::now() >= end) return Fail(EWOULDBLOCK);
    std::this_thread::sleep_for(kLockRetry);
  }
  return true;
}

}  // namespace vorn
