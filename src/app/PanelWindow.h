#pragma once

namespace vorn::app {

/// One showing of the panel. Main thread. May be destroyed inside its own events.
class PanelWindow {
 public:
  virtual ~PanelWindow() = default;
  /// In front, with the focus, where it belongs for the status item.
  virtual void show() = 0;
  virtual void close() = 0;
};

}  // namespace vorn::app
