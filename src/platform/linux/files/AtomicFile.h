#pragma once

#include <filesystem>
#include <string_view>

namespace vorn {

/// Replaces the file at `path` as a whole: a reader, and the disk after a
/// crash, sees the old content or the new, never a part. Written beside it
/// under a hidden name that did not exist, synced, then renamed, so that a
/// symbolic link at `path` is replaced and not followed. The new file is
/// readable by all as far as the process's mask allows. False, with everything
/// as it was, when any step fails. Blocks on the disk; any thread.
[[nodiscard]] bool WriteFileAtomically(const std::filesystem::path& path, std::string_view content);

}  // namespace vorn
