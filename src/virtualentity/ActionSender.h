#pragma once

#include <string>

namespace vorn {

/// Whoever sends an action: a menu item, or something else.
class ActionSender {
 public:
  ActionSender() = default;
  ActionSender(const ActionSender&) = delete;
  ActionSender& operator=(const ActionSender&) = delete;
  virtual ~ActionSender() = default;
};

/// A checkable item of the toolkit's menu, seen from the core. Belongs to the
/// user-interface thread.
class MenuItem : public ActionSender {
 public:
  /// The title as it stood in MenuDescription, without what a toolkit adds.
  [[nodiscard]] virtual std::string Title() const = 0;
  [[nodiscard]] virtual bool IsOn() const = 0;
  virtual void SetOn(bool on) = 0;
};

}  // namespace vorn
