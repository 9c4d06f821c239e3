#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "foundation/FileDescriptor.h"
#include "platform/UserDefaults.h"
#include "platform/linux/settings/IniDocument.h"

namespace vorn {

/// The settings on disk: an INI file that only its owner can read, in such a folder. Writing reads the file
/// again, merges the changes and replaces it as a whole, under a lock that ends with its process. So
/// processes do not lose each other's entries, and a death or a full disk leaves the old file or the new one.
/// On a file system without locks, two processes that write at the same moment can lose entries.
/// Unreadable lines stay where they are, with one message on the console. If the file as a whole cannot be
/// read (nothing of ours in it, larger than kMaxSize, no regular file, or not readable by its folder's
/// owner), it is renamed to "<name>.damaged-<n>", with a message on the console, and counts as empty. If the
/// failure says nothing about the file (no descriptor left, a fault of the disk), the file stays in its
/// place. A file that is nearly full is reported on the console once.
///
/// We use our own store on purpose. QSettings, the obvious choice, replaced the file by its first part,
/// without an error, when the disk filled up during a write. A killed writer left stray files and delayed the
/// next one by 0.1 s or more.
///
/// @threadsafety One thread at a time. Synchronize blocks for the disk.
class SettingsFile {
 public:
  using Changes = IniDocument::Changes;
  using Condition = UserDefaults::Condition;

  static constexpr std::size_t kMaxSize = IniDocument::kMaxSize;  ///< a larger file is not ours
  static constexpr std::size_t kNearlyFull = kMaxSize / 4 * 3;

  enum class Outcome {
    kSaved,   ///< the file has every change
    kBusy,    ///< another process has the lock: keep the changes and try again soon
    kFailed,  ///< not usable (Failure() gives the reason): keep the changes and try again later
  };

  enum class Access {
    kReadWrite,
    kReadOnly,  ///< nothing on disk is made, locked, renamed or written: an unreadable file stays, counts as
                ///< empty and is reported on the console; changes fail
  };

  explicit SettingsFile(std::filesystem::path path, Access access = Access::kReadWrite);

  /// Writes `changes` into the file, or only reads it if there are none. A file that has all changes already
  /// is not written. A change that would make the file larger than kMaxSize fails. Waits so long for another
  /// process's lock.
  [[nodiscard]] Outcome Synchronize(const Changes& changes, std::chrono::milliseconds patience) noexcept;

  /// The file as it was last read or written. Never null, and never changed later: other threads may read it.
  [[nodiscard]] std::shared_ptr<const IniDocument> Document() const { return fDocument; }

  /// The result of the last successful read. A file without any value counts as damaged. A missing file
  /// beside a renamed one counts as damaged too, because its successor may never have been written.
  [[nodiscard]] Condition FileCondition() const { return fCondition; }

  [[nodiscard]] const std::filesystem::path& Path() const { return fPath; }

  /// Why the last Synchronize failed, for people.
  [[nodiscard]] const std::string& Failure() const { return fFailure; }

 private:
  /// Identifies a file and its content: changes whenever the file is replaced or written.
  struct Stamp {
    ::ino_t inode = 0;
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;
    ::off_t size = -1;  ///< -1: there is no file
    bool operator==(const Stamp&) const = default;
  };

  enum class Loading {
    kLoaded,
    kDamaged,  ///< there is a file that is no settings file
    kFailed,   ///< nothing is known about the file
  };

  [[nodiscard]] Stamp CurrentStamp() const;
  [[nodiscard]] Outcome Read(std::chrono::milliseconds patience);
  [[nodiscard]] Outcome Write(const Changes& changes, std::chrono::milliseconds patience);
  [[nodiscard]] Loading Load();
  [[nodiscard]] bool LoadOrSetAside();
  void Take(IniDocument document);
  void TakeNothing();
  void TellUnreadableLines();
  void TellNearlyFull();
  [[nodiscard]] std::string AsideName(int n) const;
  [[nodiscard]] bool SetAside();
  [[nodiscard]] Outcome Lock(FileDescriptor& lock, std::chrono::milliseconds patience);
  [[nodiscard]] bool Replace(std::string content);
  [[nodiscard]] std::string Unusable() const;
  bool Fail(const std::string& reason);

  const std::filesystem::path fPath;
  const Access fAccess;
  std::optional<Stamp> fSeen;  ///< the file that fDocument was read from
  std::shared_ptr<const IniDocument> fDocument = std::make_shared<IniDocument>();
  Condition fCondition = Condition::kUnread;
  bool fUnreadableTold = false;  ///< until a file without such lines is read
  bool fNearlyFullTold = false;
  std::string fFailure;
};

}  // namespace vorn
