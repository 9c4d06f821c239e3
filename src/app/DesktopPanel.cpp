#include "app/DesktopPanel.h"

#include <QApplication>
#include <QIcon>
#include <chrono>
#include <utility>

#include "app/Identity.h"

namespace vorn::app {
namespace {

constexpr std::chrono::seconds kHintPeriod{1};

// Not before there is a window that has it: looking it up takes the icon themes
// into memory, which the status item alone does without.
void setWindowIcon() {
  if (!QApplication::windowIcon().isNull()) return;
  QApplication::setWindowIcon(QIcon::fromTheme(QString::fromLatin1(Identity::kIdentifier)));
}

}  // namespace

DesktopPanel::DesktopPanel(ui::PanelOwner& owner, DesktopStatusItem& item, HintSource hint)
    : fItem(item), fHint(std::move(hint)), fWindow(owner) {
  QObject::connect(&fWindow, &ui::DeviceListWindowController::hiddenByDeactivation, &fItem.tray(),
                   &ui::TrayStatusItem::noteHiddenByDeactivation);
  QObject::connect(&fHintTimer, &QTimer::timeout, &fHintTimer, [this] { updateHint(); });
}

void DesktopPanel::show() {
  setWindowIcon();
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
