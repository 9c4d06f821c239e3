#pragma once

#include <QAction>
#include <QMenu>
#include <string>
#include <vector>

namespace vorn::ui {

/// What a menu shows, line by line; "-" is a separator.
inline std::vector<std::string> Titles(const QMenu& menu) {
  std::vector<std::string> titles;
  for (const QAction* action : menu.actions()) {
    if (action->isVisible()) titles.push_back(action->isSeparator() ? "-" : action->text().toStdString());
  }
  return titles;
}

}  // namespace vorn::ui
