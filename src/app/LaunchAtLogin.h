#pragma once

#include <string>

#include "platform/LoginItems.h"
#include "ui/PanelOwner.h"

namespace vorn::app {

/// The part of the application's controller for the login item: whether the login launcher starts the
/// program. Nothing is kept: every answer comes from the system. A failed change writes a console message and
/// changes nothing. A program that is not installed cannot be started at login: it neither reads nor changes
/// the login item, which may belong to an installed one. Main thread only.
class LaunchAtLogin : public ui::PanelOwner {
 public:
  /// Identifier of the login launcher.
  [[nodiscard]] static std::string getLauncherName();

  bool canLaunchOnLogin() override { return fItems != nullptr; }
  void setLaunchOnLogin(bool enabled) override;
  bool launchOnLogin() override;
  /// Whether the login item exists, switched on or off. Nothing in the program asks; it belongs to this
  /// interface.
  [[nodiscard]] bool appInLoginItems();

 protected:
  /// `items` must live longer than this object. Null if the program is not installed.
  explicit LaunchAtLogin(LoginItems* items) : fItems(items) {}

  /// If an item is on but its program no longer exists, makes it start this program.
  void repairLoginItem();

 private:
  LoginItems* const fItems;
};

}  // namespace vorn::app
