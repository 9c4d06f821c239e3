#include "platform/linux/files/AtomicFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "foundation/FileDescriptor.h"
#include "platform/linux/files/WriteAll.h"

namespace vorn {
namespace {

constexpr int kMaxAttempts = 1000;

/// A file that did not exist, beside `path` under a hidden name, which is put
/// into `name`. None, with errno, where that fails.
FileDescriptor MakeFileBeside(const std::filesystem::path& path, std::string& name) {
  const auto stem = (path.parent_path() / ("." + path.filename().string() + ".")).string();
  FileDescriptor file;
  for (int i = 0; i < kMaxAttempts && !file; ++i) {
    name = stem + std::to_string(::getpid()) + "-" + std::to_string(i);
    // Opened with its final permissions: the mask is the kernel's to apply, as asking for it sets it.
    file = FileDescriptor(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!file && errno != EEXIST) break;
  }
  return file;
}

void SyncFolder(const std::filesystem::path& folder) {
  const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor) ::fsync(descriptor.Get());
}

}  // namespace

bool WriteFileAtomically(const std::filesystem::path& path, std::string_view content) {
  std::string name;
  const FileDescriptor descriptor = MakeFileBeside(path, name);
  if (!descriptor) return false;
  if (!WriteAll(descriptor.Get(), content) || ::fsync(descriptor.Get()) != 0 ||
      std::rename(name.c_str(), path.c_str()) != 0) {
    ::unlink(name.c_str());
    return false;
  }
  SyncFolder(path.parent_path());
  return true;
}

}  // namespace vorn
