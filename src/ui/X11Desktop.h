#pragma once

#include <vector>

#include "ui/StrutAreas.h"

class QWindow;

namespace vorn::ui {

/// What the toolkit does not ask of an X11 desktop. Everywhere else, and where
/// the desktop does not answer, nothing is done and nothing is found. Each call
/// waits for the display server's answer. Main thread only.
class X11Desktop {
 public:
  /// True when this program shows its windows on an X11 display.
  [[nodiscard]] static bool isPresent();

  /// Asks the window manager to leave a window that is shown out of task bars
  /// and pagers; to be repeated after each show.
  static void askToSkipTaskbar(QWindow* window);

  /// The areas that bars and docks have reserved at the edges of the desktop,
  /// in its own pixels.
  [[nodiscard]] static std::vector<ReservedArea> reservedAreas();

  /// True when an older tray (the selection _NET_SYSTEM_TRAY_S0) has an owner.
  [[nodiscard]] static bool olderTrayIsPresent();
};

}  // namespace vorn::ui
