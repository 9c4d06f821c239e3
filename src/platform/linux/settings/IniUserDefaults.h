#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "foundation/Clock.h"
#include "foundation/RunLoop.h"
#include "platform/UserDefaults.h"

namespace vorn {

/// The settings file of this program for its user: settings.conf in OwnSettingsFolder. Empty if there is no
/// home folder. Reads the environment: main thread.
[[nodiscard]] std::filesystem::path UserSettingsPath();

/// User defaults in an INI file (SettingsFile.h). Memory holds the whole file.
///
/// With a run loop, a change is saved from the loop's next turn on, but at most once in `pause`, and a failed
/// save is repeated after `retryAfter`. The saving has a thread of its own, so the loop never waits for the
/// disk or for another process's lock. Without a run loop, a change is saved at once, inside the call. In
/// both cases unsaved changes are tried again at the next change and at the end. Values from other processes
/// are seen after the next save or Synchronize.
class IniUserDefaults final : public UserDefaults {
 public:
  struct Timing {
    std::chrono::milliseconds pause{1000};
    std::chrono::milliseconds retryAfter{30000};
    std::chrono::milliseconds atEnd{300};  ///< how long the last save waits for another process's lock
  };

  /// Saves each change at once. Reads the file. A missing file counts as an empty one, and the first change
  /// makes it.
  explicit IniUserDefaults(const std::filesystem::path& path);

  /// The same, but saves from the run loop of the calling thread. Throws std::system_error if no descriptor
  /// is left for its timer.
  IniUserDefaults(const std::filesystem::path& path, const std::shared_ptr<RunLoop>& loop)
      : IniUserDefaults(path, loop, Timing()) {}
  IniUserDefaults(const std::filesystem::path& path, const std::shared_ptr<RunLoop>& loop, Timing timing,
                  Now now = Clock::now);

  /// For a program that only reads the settings: as above, but nothing is ever written to disk. A damaged
  /// file stays where it is and counts as empty, with a message on the console. New values stay in memory.
  [[nodiscard]] static IniUserDefaults ReadOnly(const std::filesystem::path& path);
  ~IniUserDefaults() override;

  void RegisterBool(const std::string& key, bool value) override;

  /// A handwritten bool may be true, yes, on or 1, or false, no, off or 0, in any case. Any other text counts
  /// as not stored.
  [[nodiscard]] bool GetBool(const std::string& key) const override;
  [[nodiscard]] std::optional<std::string> GetString(const std::string& key) const override;
  [[nodiscard]] std::optional<std::vector<std::string>> GetStringArray(const std::string& key) const override;

  void SetBool(const std::string& key, bool value) override;
  void SetString(const std::string& key, const std::string& value) override;
  void SetStringArray(const std::string& key, const std::vector<std::string>& value) override;

  [[nodiscard]] Condition StoreCondition() const override;

  [[nodiscard]] bool IsSaved() const override;
  bool Synchronize() override;

  /// The last save of the program. Blocks for the disk, and `atEnd` at most for another process's lock. The
  /// console names the keys that could not be saved. The destructor does the same once more, and names only
  /// keys that were not named before.
  void SaveAtEnd();

  /// Another store that must be on disk before this one.
  struct Earlier {
    std::function<bool()> isSaved;  ///< whether it is on disk; must not block
    std::function<bool()> save;     ///< the same, but saves it first and may block
  };

  /// While the earlier store is not on disk, changes of the keys that begin with `keyPrefix` are not saved,
  /// and they are tried again like other failed saves, or at SaveSoon. Neither function may set values here.
  void SetEarlier(Earlier earlier, std::string keyPrefix);

  /// Called from the run loop after each save beside it, also after one that has failed.
  void SetAfterSaving(std::function<void()> call);

  /// Tries again what is not saved yet. Does not block if there is a run loop.
  void SaveSoon();

 private:
  class Impl;
  explicit IniUserDefaults(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> fImpl;
};

}  // namespace vorn
