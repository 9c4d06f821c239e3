#pragma once

namespace vorn::app {

/// The program's place in the desktop's status bar, empty until a view is made
/// for it. Main thread.
class StatusBarItem {
 public:
  virtual ~StatusBarItem() = default;
};

}  // namespace vorn::app
