#include "platform/linux/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "foundation/FileDescriptor.h"
#include "platform/linux/WriteAll.h"

namespace vorn {
namespace {

/// Whether the whole content, with its permissions, has reached the disk.
bool Fill(int descriptor, std::string_view content) {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  return WriteAll(descriptor, content) && ::fchmod(descriptor, 0644 & ~mask) == 0 && ::fsync(descriptor) == 0;
}

void SyncFolder(const std::filesystem::path& folder) {
  const FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (descriptor) ::fsync(descriptor.Get());
}

}  // namespace

bool WriteFileAtomically(const std::filesystem::path& path, std::string_view content) {
  std::string name = (path.parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
  const FileDescriptor descriptor(::mkostemp(name.data(), O_CLOEXEC));
  if (!descriptor) return false;
  if (!Fill(descriptor.Get(), content) || std::rename(name.c_str(), path.c_str()) != 0) {
    ::unlink(name.c_str());
    return false;
  }
  SyncFolder(path.parent_path());
  return true;
}

}  // namespace vorn
