#pragma once

#include <QApplication>

#include "ui/ClickablePanel.h"

namespace vorn::ui {

/// The panel that is shown now; null: none is.
inline ui::ClickablePanel* OpenPanel() {
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    auto* panel = qobject_cast<ui::ClickablePanel*>(widget);
    if (panel && panel->isVisible()) return panel;
  }
  return nullptr;
}

}  // namespace vorn::ui
