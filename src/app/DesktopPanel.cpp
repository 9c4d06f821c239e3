#include "app/DesktopPanel.h"

#include <chrono>
#include <utility>

namespace vorn::app {
namespace {

constexpr std::chrono::seconds kHintPeriod{1};

}  // namespace

DesktopPanel::DesktopPanel(ui::PanelOwner& owner, DesktopStatusItem& item, HintSource hint)
    : fItem(item), fHint(std::move(hint)), fWindow(owner) {
  QObject::connect(&fWindow, &ui::DeviceListWindowController::hiddenByDeactivation, &fItem.tray(),
                   &ui::TrayStatusItem::noteHiddenByDeactivation);
  QObject::connect(&fHintTimer, &QTimer::timeout, &fHintTimer, [this] { updateHint(); });
}

void DesktopPanel::show() {
  updateHint();
  fHintTimer.start(kHintPeriod);
  fWindow.showFor(&fItem.tray());
}

void DesktopPanel::close() {
  fHintTimer.stop();
  fWindow.close();
}

void DesktopPanel::updateHint() {
  fWindow.setHint(fHint());
}

}  // namespace vorn::app
