#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/FileDescriptor.h"

// What the stores of this program do with files. Every call blocks on the disk;
// any thread. A call that fails leaves the reason in errno.

namespace vorn {

/// Who may read a file that is written.
enum class Readers {
  kOwner,  ///< its owner alone, who may write it too
  kAll,    ///< everybody, as far as the process's mask allows
};

/// Replaces the file at `path` as a whole: a reader, and the disk after a
/// crash, sees the old content or the new, never a part. The new file is
/// written beside it as "<name>.new", synced, then renamed. What a writer that
/// was killed left under that name is removed; two that write at once take
/// turns. A symbolic link at `path` is replaced and never followed: who wants
/// it to stay names the file behind it (FileBehindLinks). False, with
/// everything as it was, when any step fails.
[[nodiscard]] bool ReplaceFile(const std::filesystem::path& path, std::string_view content, Readers readers);

/// Where the symbolic links at `path` lead, whether or not there is a file;
/// `path` itself where it is no link.
[[nodiscard]] std::filesystem::path FileBehindLinks(std::filesystem::path path);

/// The content of a regular file that is no longer than `maximum`, with links
/// followed. Empty where there is none: errno is EFBIG for one that is longer,
/// EINVAL for what is no regular file. A pipe of that name does not block.
[[nodiscard]] std::optional<std::string> ReadFile(const std::filesystem::path& path, std::size_t maximum);

/// Makes the folder for its owner alone, with the folders above it that are
/// missing likewise. True where it is there already.
[[nodiscard]] bool MakePrivateFolder(const std::filesystem::path& folder);

/// Takes the lock of an open file, which ends with the descriptor. Waits so
/// long for another holder; false, with EWOULDBLOCK, where that one keeps it.
[[nodiscard]] bool LockFile(const FileDescriptor& file, std::chrono::milliseconds patience);

}  // namespace vorn
