#pragma once

namespace vorn::app {

/// The item's menu, a listener of its own for as long as it lives. Main thread.
class StatusBarMenu {
 public:
  virtual ~StatusBarMenu() = default;
};

}  // namespace vorn::app
