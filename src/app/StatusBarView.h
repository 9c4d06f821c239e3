#pragma once

#include <functional>

namespace vorn::app {

/// What the item in the status bar shows. Main thread.
class StatusBarView {
 public:
  virtual ~StatusBarView() = default;
  virtual void setAction(std::function<void()> action) = 0;  ///< what a press does
  virtual void setHighlight(bool highlight) = 0;             ///< the panel is open
  virtual void setActive(bool active) = 0;                   ///< at least one device is listed
};

}  // namespace vorn::app
