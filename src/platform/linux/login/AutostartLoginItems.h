#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "platform/LoginItems.h"

namespace vorn {

/// Login items as entries of the user's autostart folder: one desktop file with the identifier as its name.
///
/// An entry counts as on if the desktop would start it: a desktop file with a command, not hidden, not
/// switched off by a desktop's own key, and its program exists. A file of unlikely size, or one that is no
/// regular file, counts as off.
class AutostartLoginItems final : public LoginItems {
 public:
  /// The contents of a new entry.
  struct Program {
    std::string name;            ///< as people read it in the desktop's list of such programs
    std::string comment;         ///< one line about it
    std::string icon;            ///< name in the icon theme
    std::filesystem::path path;  ///< absolute; must exist when the item is switched on
  };

  explicit AutostartLoginItems(Program program);

  bool SetEnabled(const std::string& identifier, bool enabled) override;
  /// Changes only the lines of Exec and TryExec. Everything else that a user wrote stays.
  bool Repair(const std::string& identifier) override;
  std::optional<LoginJob> JobLabelled(const std::string& identifier) const override;

 private:
  /// The value of Exec that starts our program; empty if the program is missing.
  [[nodiscard]] std::optional<std::string> Command() const;
  [[nodiscard]] bool WriteEntry(const std::filesystem::path& path) const;

  const Program fProgram;
};

}  // namespace vorn
