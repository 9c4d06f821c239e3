#pragma once

#include <string>

#include "foundation/Optional.h"

namespace vorn {

/// One entry of what the system starts when the user logs in.
struct LoginJob {
  std::string label;      ///< identifier of the program to start
  bool onDemand = false;  ///< whether the system will start it; an entry can exist and be switched off
};

/// What the system starts at login. Nothing is cached: every answer is the
/// system's own at that moment, whoever changed it.
///
/// @threadsafety Main thread. Calls touch a small local file and may block on
/// its disk.
class LoginItems {
 public:
  virtual ~LoginItems() = default;

  /// Has the program with this identifier started at login, or no longer.
  /// False when that could not be done; what was there before then stays.
  [[nodiscard]] virtual bool SetEnabled(const std::string& identifier, bool enabled) = 0;

  /// Where the entry is switched on but what it starts is no longer there, has
  /// it start the program of SetEnabled. Any other entry stays as it is. False
  /// when that could not be done.
  [[nodiscard]] virtual bool Repair(const std::string& identifier) = 0;

  /// The entry of that identifier; empty when there is none.
  virtual optional<LoginJob> JobLabelled(const std::string& identifier) const = 0;
};

}  // namespace vorn
