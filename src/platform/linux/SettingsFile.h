#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/Optional.h"

class QSettings;

namespace vorn {

/// The settings on disk: an INI file readable only by its owner, in a folder
/// likewise. Writing merges with what other processes wrote, under a lock file
/// that a dead process does not keep, and replaces the file as a whole; keys
/// and groups that are not ours stay (comments do not). A file that cannot be
/// read as one is renamed to "<name>.damaged-<n>", with a message on the
/// console, and counts as empty.
///
/// @threadsafety The main thread only; every call blocks for the disk.
class SettingsFile {
 public:
  /// A value: one text, or several of an array.
  using Value = std::vector<std::string>;
  using Values = std::unordered_map<std::string, Value>;

  enum class Outcome {
    kSaved,   ///< the file holds every change
    kBusy,    ///< another process holds the lock: try again soon
    kFailed,  ///< not writable (Failure() says why): keep the changes and try again later
  };

  explicit SettingsFile(std::filesystem::path path);

  /// Writes `changes` into the file, and replaces `values` by what the file
  /// holds where it was changed by others since the last call (or was never
  /// read). `values` does not see `changes` by this call. Waits at most a
  /// fraction of a second for another process's lock.
  [[nodiscard]] Outcome Synchronize(const Values& changes, Values& values);

  [[nodiscard]] const std::filesystem::path& Path() const { return fPath; }

  /// Why the last Synchronize failed, for people.
  [[nodiscard]] const std::string& Failure() const { return fFailure; }

 private:
  /// Which content of which file: changes whenever the file is replaced or written.
  struct Stamp {
    ::ino_t inode = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    ::off_t size = -1;  ///< -1: there is no file
    bool operator==(const Stamp&) const = default;
  };

  [[nodiscard]] Stamp CurrentStamp() const;
  [[nodiscard]] std::unique_ptr<QSettings> OpenReadable();
  [[nodiscard]] bool SetAside(const std::string& reason);
  [[nodiscard]] Outcome PrepareToWrite();

  std::filesystem::path fPath;
  optional<Stamp> fSeen;  ///< what `values` reflects
  std::string fFailure;
};

}  // namespace vorn
