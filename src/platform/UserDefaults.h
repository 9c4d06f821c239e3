#pragma once

#include <string>
#include <vector>

#include "foundation/Optional.h"

namespace vorn {

/// The user's settings: a persistent store of bools, texts and arrays of
/// texts under text keys.
///
/// 1. A key is any byte string. It comes back exactly as it went in, and no two
///    keys ever meet, whatever they hold; the texts of values likewise.
/// 2. What was set is read back at once, whether or not it could be saved.
/// 3. Reading never touches the disk.
/// 4. Nothing fails towards the caller: what cannot be saved is kept in memory
///    and saved when it can be; the console is told once.
///
/// @threadsafety The main thread only.
class UserDefaults {
 public:
  /// How much of what was stored before is known.
  enum class Condition {
    kWhole,    ///< all of it: what is not there was never stored
    kDamaged,  ///< not all of it: what is not there may have been lost
    kUnread,   ///< nothing yet: the store cannot be read at the moment
  };

  UserDefaults() = default;
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;
  virtual ~UserDefaults() = default;

  /// The answer for `key` while nothing readable is stored under it. Never
  /// saved; a later registration replaces an earlier one.
  virtual void RegisterBool(const std::string& key, bool value) = 0;

  /// The stored value, else the registered one, else false.
  [[nodiscard]] virtual bool GetBool(const std::string& key) const = 0;

  /// The stored text, or nothing.
  [[nodiscard]] virtual optional<std::string> GetString(const std::string& key) const = 0;

  /// The stored array, or nothing. A single stored text reads as an array of
  /// one. An array without elements reads as nothing.
  [[nodiscard]] virtual optional<std::vector<std::string>> GetStringArray(const std::string& key) const = 0;

  virtual void SetBool(const std::string& key, bool value) = 0;
  virtual void SetString(const std::string& key, const std::string& value) = 0;
  virtual void SetStringArray(const std::string& key, const std::vector<std::string>& value) = 0;

  /// As the store was found, whatever has been set since.
  [[nodiscard]] virtual Condition StoreCondition() const = 0;

  /// Saves what is not saved yet and takes over what other processes saved.
  /// Blocks for the disk. False when something remains unsaved; true means that
  /// the death of this process loses nothing. Need not be called: the store
  /// saves promptly of its own accord.
  virtual bool Synchronize() = 0;
};

}  // namespace vorn
