#pragma once

#include <QAccessibleApplication>

namespace vorn::ui {

/// The program as assistive tools see it: under the name that people read. The
/// toolkit by itself gives the name that files and windows are known by.
class AccessibleApplication : public QAccessibleApplication {
 public:
  /// Has the toolkit show the program in this way. Before the event loop first
  /// runs: the toolkit keeps what it has made. Main thread.
  static void install();

  [[nodiscard]] QString text(QAccessible::Text kind) const override;
};

}  // namespace vorn::ui
