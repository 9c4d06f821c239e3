#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/FileDescriptor.h"

// What this program does with whole files. Every call blocks on the disk; any thread. A call that fails
// leaves the reason in errno.

namespace vorn {

/// Who may read a file that is written.
enum class Readers {
  kOwner,      ///< only its owner, who may write it too
  kAll,        ///< everybody, as far as the process's mask allows
  kEverybody,  ///< everybody, whatever the mask is: it is written for programs of other users
};

/// Replaces the file at `path` as a whole. A reader sees the old content or the new content, never a part,
/// and so does the disk after a crash. The new file is written beside the old one as "<name>.new", synced,
/// then renamed. If a killed writer left a file of that name, it is removed; two writers at the same time
/// take turns. On a file system without locks, they must not write at the same time.
///
/// A symbolic link at `path` is replaced and never followed. A caller that wants to keep the link passes the
/// file behind it (FileBehindLinks). Returns false, and leaves everything as it was, if a step fails. That is
/// EWOULDBLOCK if other writers have the file for longer than `patience`; the default suits a main thread.
[[nodiscard]] bool ReplaceFile(const std::filesystem::path& path, std::string_view content, Readers readers,
                               std::chrono::milliseconds patience = std::chrono::milliseconds(200));

/// Where the symbolic links at `path` lead, whether or not there is a file. `path` itself if it is no link.
[[nodiscard]] std::filesystem::path FileBehindLinks(std::filesystem::path path);

/// The content of a regular file that is not longer than `maximum`. Links are followed. Empty if it cannot be
/// read: errno is EFBIG if the file is longer, and EINVAL if it is no regular file. If the file could be
/// opened but not read, errno is EIO, whatever the cause was. A pipe does not block.
[[nodiscard]] std::optional<std::string> ReadFile(const std::filesystem::path& path, std::size_t maximum);

/// Whether there is a regular file that this process may execute. Links are followed.
[[nodiscard]] bool IsExecutableFile(const std::filesystem::path& path);

/// Makes the folder, and the missing folders above it, only for their owner. True if it exists already.
[[nodiscard]] bool MakePrivateFolder(const std::filesystem::path& folder);

/// Locks an open file until the descriptor is closed. Waits this long for another holder of the lock. Returns
/// false, with EWOULDBLOCK, only if the other one keeps it: on a file system without locks the file counts as
/// locked, so that it can be written at all.
[[nodiscard]] bool LockFile(const FileDescriptor& file, std::chrono::milliseconds patience);

}  // namespace vorn
