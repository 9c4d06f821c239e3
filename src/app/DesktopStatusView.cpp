#include "app/DesktopStatusView.h"

#include <utility>

namespace vorn::app {

DesktopStatusView::DesktopStatusView(DesktopStatusItem& item) : fView(&item.tray()) {
  fView.setTarget(&fTarget);
}

void DesktopStatusView::setAction(std::function<void()> action) {
  fView.setAction(std::move(action));
}

}  // namespace vorn::app
