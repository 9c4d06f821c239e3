#pragma once

#include <optional>
#include <string>

namespace vorn {

/// One entry of the programs that the system starts when the user logs in.
struct LoginJob {
  std::string label;      ///< identifier of the program to start
  bool onDemand = false;  ///< whether the system will start it; an entry can exist but be off
};

/// The programs that the system starts at login. Nothing is cached: every answer shows the system at that
/// moment, whoever changed it.
///
/// @threadsafety Main thread. Calls touch a small local file and may block on
/// its disk.
class LoginItems {
 public:
  virtual ~LoginItems() = default;

  /// Switches the start of the program with this identifier at login on or off. False if that failed; then
  /// nothing has changed.
  [[nodiscard]] virtual bool SetEnabled(const std::string& identifier, bool enabled) = 0;

  /// If the entry is on, but its program no longer exists, makes it start the program of SetEnabled. Any
  /// other entry stays as it is. False if that failed.
  [[nodiscard]] virtual bool Repair(const std::string& identifier) = 0;

  /// The entry of that identifier; empty if there is none.
  virtual std::optional<LoginJob> JobLabelled(const std::string& identifier) const = 0;
};

}  // namespace vorn
