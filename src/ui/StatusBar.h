#pragma once

#include <functional>

namespace vorn::ui {

class PanelOwner;

/// The program in the desktop's status bar, as its controller sees it: the
/// item, the item's menu, and the panel below the item. Main thread only.
class StatusBar {
 public:
  virtual ~StatusBar() = default;

  /// What a press on the item does.
  virtual void setAction(std::function<void()> action) = 0;
  /// True: the panel is open.
  virtual void setHighlight(bool highlight) = 0;
  /// True: at least one device is listed.
  virtual void setActive(bool active) = 0;

  /// Shows a new panel in front, with the focus, at its place for the item. While it is open, it is a
  /// listener of `owner`. It asks `owner` to do what the user chooses, and tells it when it wants to be
  /// closed.
  virtual void showPanel(PanelOwner& owner) = 0;
  /// Closes the panel and unregisters its listener. May be called inside the panel's own events. Without a
  /// panel it does nothing.
  virtual void closePanel() = 0;

  /// Gives the item its menu and its tool tip, listeners of `owner` as long as this object lives. Once.
  virtual void offerMenu(PanelOwner& owner) = 0;
};

}  // namespace vorn::ui
