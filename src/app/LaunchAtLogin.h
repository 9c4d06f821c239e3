#pragma once

#include <string>

#include "platform/LoginItems.h"
#include "ui/PanelOwner.h"

namespace vorn::app {

/// The application's controller as far as it is about the login item: whether
/// the login launcher starts the program. Nothing is kept: every answer is the
/// system's own. A failed change goes to the console and changes nothing.
/// Main thread only.
class LaunchAtLogin : public ui::PanelOwner {
 public:
  /// Identifier of the login launcher.
  [[nodiscard]] static std::string getLauncherName();

  void setLaunchOnLogin(bool enabled) override;
  bool launchOnLogin() override;
  /// Whether the login item exists at all, switched on or not. Part of the
  /// rules of this interface, though nothing in the program asks.
  [[nodiscard]] bool appInLoginItems();

 protected:
  /// `items` outlives this object.
  explicit LaunchAtLogin(LoginItems& items) : fItems(items) {}

  /// Has an item that is switched on, but starts nothing any more, start this program.
  void repairLoginItem();

 private:
  LoginItems& fItems;
};

}  // namespace vorn::app
