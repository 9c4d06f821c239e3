#pragma once

namespace vorn::ui {

/// What kind of host shows our status item.
enum class TrayForm {
  Button,  ///< a StatusNotifierItem host: it draws a button from the icon we name
  View,    ///< the older tray of X11: it hosts what StatusView draws
};

}  // namespace vorn::ui
