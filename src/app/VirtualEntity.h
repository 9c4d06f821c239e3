#pragma once

#include <memory>

class QAction;

namespace vorn::app {

/// The workstation's own AVB entity. Destroyed on whichever thread drops it last.
class VirtualEntity {
 public:
  /// Title of its entry in the menus.
  static constexpr char kMenuItemTitle[] = "Launch Mac Virtual Entity";

  virtual ~VirtualEntity() = default;
  /// Where the submenu of interfaces goes; null is nowhere. Main thread.
  virtual void setFVirtualEntityMenuItem(std::shared_ptr<QAction> item) = 0;
  /// Finds the capable interfaces and makes the submenu; whether there is one.
  /// Blocks for a second or more: on a background thread.
  virtual bool EnumerateAVBInterfaces() = 0;
  /// Ends an enumeration in progress, and each later one, at once and without
  /// result: the program ends. Any thread.
  virtual void stopEnumerations() = 0;
  /// Gives the item, and those set before it, the submenu of the latest answer.
  /// False where that has none: then the items belong in no menu. Main thread.
  virtual bool installSubmenus() = 0;
  /// An entry of the submenu was chosen. Main thread.
  virtual void EnableDisableVirtualAudio(QAction* sender) = 0;
};

}  // namespace vorn::app
