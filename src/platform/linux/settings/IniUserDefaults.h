#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "platform/UserDefaults.h"

namespace vorn {

/// The settings file of this program for the user who runs it:
/// vorn-device-finder/settings.conf in the user's folder for settings; empty
/// when nobody knows a home. Reads the environment: main thread.
[[nodiscard]] std::filesystem::path UserSettingsPath();

/// User defaults in an INI file (SettingsFile.h), all of which is held in
/// memory.
///
/// Where a QCoreApplication exists, a change is saved at the next turn of its
/// event loop, and no more often than once in `pause`; else at once. What
/// cannot be saved is tried again after `retryAfter`, at the next change and at
/// the end. Values that other processes save are seen from the next save or
/// Synchronize on.
class IniUserDefaults final : public UserDefaults {
 public:
  struct Timing {
    std::chrono::milliseconds pause{1000};
    std::chrono::milliseconds retryAfter{30000};
  };

  /// Reads the file; a missing one is an empty one and is not made before the
  /// first change.
  explicit IniUserDefaults(const std::filesystem::path& path);
  IniUserDefaults(const std::filesystem::path& path, Timing timing);

  /// For a program that only reads the settings: as above, but nothing is ever
  /// written to disk. A damaged file stays where it is and counts as empty,
  /// with a message on the console; what is set is kept in memory alone.
  [[nodiscard]] static IniUserDefaults ReadOnly(const std::filesystem::path& path);
  ~IniUserDefaults() override;

  void RegisterBool(const std::string& key, bool value) override;
  void RegisterString(const std::string& key, const std::string& value) override;

  /// A bool that was edited by hand may read true, yes, on or 1, or false, no,
  /// off or 0, in any case; any other text counts as not stored.
  [[nodiscard]] bool GetBool(const std::string& key) const override;
  [[nodiscard]] optional<std::string> GetString(const std::string& key) const override;
  [[nodiscard]] optional<std::vector<std::string>> GetStringArray(const std::string& key) const override;

  void SetBool(const std::string& key, bool value) override;
  void SetString(const std::string& key, const std::string& value) override;
  void SetStringArray(const std::string& key, const std::vector<std::string>& value) override;

  [[nodiscard]] Condition StoreCondition() const override;

  bool Synchronize() override;

  /// Called before anything is saved: what another store must have on disk
  /// before this one. While it answers false, changes of the keys that begin
  /// with `keyPrefix` are not saved; they are tried again like what cannot be
  /// saved. It may block for the disk, and may not set values here.
  void SetBeforeSaving(std::function<bool()> call, std::string keyPrefix);

 private:
  class Impl;
  explicit IniUserDefaults(std::unique_ptr<Impl> impl);
  std::unique_ptr<Impl> fImpl;
};

}  // namespace vorn
