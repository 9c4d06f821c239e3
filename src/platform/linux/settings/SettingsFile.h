#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "foundation/FileDescriptor.h"
#include "foundation/Optional.h"
#include "platform/UserDefaults.h"
#include "platform/linux/settings/IniDocument.h"

namespace vorn {

/// The settings on disk: an INI file readable only by its owner, in a folder
/// likewise. Writing reads the file anew, merges and replaces it as a whole,
/// all under a lock that ends with its holder, so that processes do not lose
/// each other's entries and a death or a full disk leaves the old file or the
/// new one. Lines that cannot be read stay where they are, with one message on
/// the console. A file that cannot be read as a whole (nothing of ours in it,
/// larger than kMaxSize, no regular file, or one that its folder's owner may
/// not read) is renamed to "<name>.damaged-<n>", with a message on the console,
/// and counts as empty. A failure that says nothing of the file (no descriptor
/// left, a fault of the disk) leaves it in its place.
///
/// The store of our own is deliberate. QSettings, the obvious one, replaced the
/// file by its first part, without an error, when the disk filled up while it
/// wrote; a killed writer left stray files and delayed the next by 0.1 s and more.
///
/// @threadsafety The main thread only; every call blocks for the disk.
class SettingsFile {
 public:
  using Value = IniDocument::Value;
  using Values = IniDocument::Values;
  using Condition = UserDefaults::Condition;

  static constexpr std::size_t kMaxSize = std::size_t{64}
                                          << 20U;  ///< some 100,000 records; more is none of ours

  enum class Outcome {
    kSaved,   ///< the file holds every change
    kBusy,    ///< another process holds the lock: try again soon
    kFailed,  ///< not usable (Failure() says why): keep the changes and try again later
  };

  enum class Access {
    kReadWrite,
    kReadOnly,  ///< nothing on disk is made, locked, renamed or written: a file that cannot
                ///< be read as one stays, counts as empty and is told on the console;
                ///< changes fail
  };

  explicit SettingsFile(std::filesystem::path path, Access access = Access::kReadWrite);

  /// Writes `changes` into the file. Where the file was changed by others since
  /// the last call (or was never read), `values` is replaced by what they left
  /// there, `changes` not included; else, and unless kSaved, it is as it was.
  /// With no changes it only reads, and a file that holds them all is not
  /// written. What would make the file larger than kMaxSize fails. Waits at most
  /// a fraction of a second for another process's lock.
  [[nodiscard]] Outcome Synchronize(const Values& changes, Values& values);

  /// What the last successful read found. A file without any value counts as
  /// damaged, and so does a missing one beside one that was set aside: its
  /// successor may never have been written.
  [[nodiscard]] Condition FileCondition() const { return fCondition; }

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

  enum class Loading {
    kLoaded,
    kDamaged,  ///< there is a file that is no settings file
    kFailed,   ///< nothing is known of the file
  };

  [[nodiscard]] Stamp CurrentStamp() const;
  [[nodiscard]] Outcome Read(Values& values);
  [[nodiscard]] Outcome Write(const Values& changes, Values& values);
  [[nodiscard]] Loading Load(Values& values);
  [[nodiscard]] bool LoadOrSetAside(Values& values);
  void Take(IniDocument document, std::string content, Values& values);
  void TakeNothing(Values& values);
  void TellUnreadableLines();
  [[nodiscard]] std::string AsideName(int n) const;
  [[nodiscard]] bool SetAside();
  [[nodiscard]] Outcome Lock(FileDescriptor& lock);
  [[nodiscard]] bool Replace(const std::string& content);
  [[nodiscard]] std::string Unusable() const;
  bool Fail(const std::string& reason);

  const std::filesystem::path fPath;
  const Access fAccess;
  optional<Stamp> fSeen;  ///< what fContent was read from
  bool fIsLoaded = false;
  std::string fContent;   ///< the file as last read or written; spares parsing what did not change
  IniDocument fDocument;  ///< of fContent
  Condition fCondition = Condition::kUnread;
  bool fUnreadableTold = false;  ///< until a file without such lines is read
  std::string fFailure;
};

}  // namespace vorn
