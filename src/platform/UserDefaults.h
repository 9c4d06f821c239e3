#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vorn {

/// The user's settings: a persistent store of bools, texts and arrays of
/// texts under text keys.
///
/// 1. A key is any byte string. It comes back unchanged, and two different keys never become the same. The
///    same is true for the texts of values.
/// 2. A new value is read back at once, whether or not it could be saved.
/// 3. Reading never touches the disk.
/// 4. The caller sees no failures: a value that cannot be saved stays in memory and is saved later. The
///    console gets one message.
///
/// @threadsafety The main thread only.
class UserDefaults {
 public:
  /// How much of the earlier contents is known.
  enum class Condition {
    kWhole,    ///< all of it: a missing value was never stored
    kDamaged,  ///< not all of it: a missing value may have been lost
    kUnread,   ///< nothing yet: the store cannot be read at the moment
  };

  UserDefaults() = default;
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;
  virtual ~UserDefaults() = default;

  /// The answer for `key` while no readable value is stored for it. Never saved. A later registration
  /// replaces an earlier one.
  virtual void RegisterBool(const std::string& key, bool value) = 0;

  /// The stored value, otherwise the registered one, otherwise false.
  [[nodiscard]] virtual bool GetBool(const std::string& key) const = 0;

  /// The stored text, or nothing.
  [[nodiscard]] virtual std::optional<std::string> GetString(const std::string& key) const = 0;

  /// The stored array, or nothing. A single stored text reads as an array of
  /// one. An array without elements reads as nothing.
  [[nodiscard]] virtual std::optional<std::vector<std::string>> GetStringArray(
      const std::string& key) const = 0;

  virtual void SetBool(const std::string& key, bool value) = 0;
  virtual void SetString(const std::string& key, const std::string& value) = 0;
  virtual void SetStringArray(const std::string& key, const std::vector<std::string>& value) = 0;

  /// The condition of the store when it was found, whatever was set since then.
  [[nodiscard]] virtual Condition StoreCondition() const = 0;

  /// Whether everything that was set is on disk, so that the death of this process loses nothing. Does not
  /// block.
  [[nodiscard]] virtual bool IsSaved() const = 0;

  /// Saves what is not saved yet, and takes over what other processes saved. Blocks for the disk, and for a
  /// moment for another process that saves: not for an event loop. False if something remains unsaved. Calls
  /// are not required, because the store saves promptly by itself.
  virtual bool Synchronize() = 0;
};

}  // namespace vorn
