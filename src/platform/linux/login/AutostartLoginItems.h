#pragma once

#include <filesystem>
#include <string>

#include "platform/LoginItems.h"

namespace vorn {

/// Login items as entries of the user's autostart folder, one desktop file
/// named after the identifier.
///
/// An entry counts as on when the desktop would start it: a desktop file with
/// a command, not hidden, not switched off by a desktop's own key, its program
/// there. Files of unlikely size and what is no regular file count as off.
class AutostartLoginItems final : public LoginItems {
 public:
  /// What a new entry says.
  struct Program {
    std::string name;            ///< as people read it in the desktop's list of such programs
    std::string comment;         ///< one line about it
    std::string icon;            ///< name in the icon theme
    std::filesystem::path path;  ///< what to start; absolute, and there when the item is switched on
  };

  explicit AutostartLoginItems(Program program);

  bool SetEnabled(const std::string& identifier, bool enabled) override;
  /// Changes the lines of Exec and TryExec alone: what else a user wrote stays.
  bool Repair(const std::string& identifier) override;
  optional<LoginJob> JobLabelled(const std::string& identifier) const override;

 private:
  /// The value of Exec that starts our program; empty when it is not there.
  [[nodiscard]] optional<std::string> Command() const;
  [[nodiscard]] bool WriteEntry(const std::filesystem::path& path) const;

  const Program fProgram;
};

}  // namespace vorn
