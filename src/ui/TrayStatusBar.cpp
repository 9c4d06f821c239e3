#include "ui/TrayStatusBar.h"

#include <QAccessibleApplication>
#include <QApplication>
#include <QIcon>
#include <utility>

#include "ui/DeviceListWindowController.h"
#include "ui/PanelOwner.h"
#include "ui/PanelPlacement.h"
#include "ui/StatusMenu.h"

namespace vorn::ui {
namespace {

/// The program as assistive tools see it: under the name that people read. By default the toolkit gives the
/// name of files and windows.
class AccessibleApplication : public QAccessibleApplication {
 public:
  [[nodiscard]] QString text(QAccessible::Text kind) const override {
    if (kind == QAccessible::Name) return QGuiApplication::applicationDisplayName();
    return QAccessibleApplication::text(kind);
  }

  static QAccessibleInterface* make(const QString&, QObject* object) {
    return object == qApp ? new AccessibleApplication : nullptr;  // the toolkit's cache owns it
  }
};

}  // namespace

TrayStatusBar::TrayStatusBar(Look look, int length, Hints hints)
    : fLook(std::move(look)), fHints(std::move(hints)), fItem(fLook.item, length), fView(&fItem) {
  QAccessible::installFactory(&AccessibleApplication::make);
  fView.setTarget(&fTarget);
  QObject::connect(&fHintTimer, &QTimer::timeout, &fHintTimer, [this] { updateHint(); });
  QObject::connect(&fHosts, &TrayHostWatcher::hostFound, &fItem, &TrayStatusItem::attach);
  fHosts.start();
}

TrayStatusBar::~TrayStatusBar() {
  fPanel.reset();
  fToolTip.reset();
  if (!fMenu) return;
  fItem.setContextMenu(nullptr);
  fMenuOwner->removeListener(fMenu.get());
}

void TrayStatusBar::setAction(std::function<void()> action) {
  fView.setAction(std::move(action));
}

void TrayStatusBar::setHighlight(bool highlight) {
  fView.setHighlight(highlight);
}

void TrayStatusBar::setActive(bool active) {
  fView.setActive(active);
}

void TrayStatusBar::showPanel(PanelOwner& owner) {
  setWindowIcon();
  fPanel = std::make_unique<DeviceListWindowController>(owner);
  QObject::connect(fPanel.get(), &DeviceListWindowController::hiddenByDeactivation, &fItem,
                   &TrayStatusItem::noteHiddenByDeactivation);
  fPageNotOpened = false;
  updateHint();
  fHintTimer.start(fHints.period);
  fPanel->showAt(currentPanelPlace(&fItem));
}

void TrayStatusBar::closePanel() {
  fHintTimer.stop();
  if (const auto closing = std::move(fPanel)) closing->close();
}

void TrayStatusBar::offerMenu(PanelOwner& owner) {
  fMenuOwner = &owner;
  fMenu = std::make_unique<StatusMenu>(owner);
  const auto follow = [this] { fMenu->setForm(fItem.hasButton() ? MenuForm::Exported : MenuForm::Drawn); };
  QObject::connect(&fItem, &StatusItem::formChanged, fMenu.get(), follow);
  follow();
  fMenu->setHintSource(fHints.discovery);
  owner.addListener(fMenu.get());
  fItem.setContextMenu(fMenu->contextMenu());
  const auto show = [this](const QString& words) { fItem.setToolTip(words); };
  fToolTip = std::make_unique<StatusToolTip>(owner, fHints.discovery, show, fHints.toolTip);
}

// Not before a window needs it: the look-up loads the icon themes into memory, and the status item alone does
// not need them.
void TrayStatusBar::setWindowIcon() const {
  if (!QApplication::windowIcon().isNull()) return;
  QApplication::setWindowIcon(QIcon::fromTheme(fLook.windowIconName));
}

void TrayStatusBar::updateHint() {
  fPageNotOpened = fHints.takePageFailure() || fPageNotOpened;
  fPanel->setHint({fHints.discovery(), fPageNotOpened});
}

}  // namespace vorn::ui
