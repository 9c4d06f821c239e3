#include "ui/DeviceListWindowController.h"

#include <QGuiApplication>
#include <utility>

#include "ui/ClickablePanel.h"
#include "ui/DeviceListController.h"
#include "ui/PanelOwner.h"
#include "ui/PanelPlacement.h"
#include "ui/TemplateImage.h"
#include "ui_DeviceListPanel.h"

namespace vorn::ui {
namespace {

constexpr int kRoomForBars = 64;  // at both edges together

// There, programs know neither the bars of a screen nor where their own windows are.
bool isOnWayland() {
  return QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

QSize roomAt(const PanelPlace& place) {
  if (place.usable.isEmpty()) return {QWIDGETSIZE_MAX, QWIDGETSIZE_MAX};
  return place.usable.size() - QSize(0, isOnWayland() ? kRoomForBars : 0);
}

}  // namespace

DeviceListWindowController::DeviceListWindowController(PanelOwner& appDelegate, Now now)
    : fAppDelegate(&appDelegate), fNow(std::move(now)) {}

DeviceListWindowController::~DeviceListWindowController() {
  close();
  if (!fPanel) return;
  fPanel->disconnect(this);
  fPanel->deleteLater();  // one of its own events may still be running
}

void DeviceListWindowController::load() {
  if (fPanel || fClosed) return;
  fPanel = new ClickablePanel;
  Ui::DeviceListPanel interface;
  interface.setupUi(fPanel);
  fPanel->setWindowTitle(QGuiApplication::applicationDisplayName());
  const TemplateImage image(QStringLiteral("settings"), interface.settings->iconSize());
  const Tint tint{fPanel->palette().color(QPalette::ButtonText), {}};
  QPixmap icon = image.rendered(image.size() * fPanel->devicePixelRatioF(), tint);
  icon.setDevicePixelRatio(fPanel->devicePixelRatioF());
  interface.settings->setIcon(icon);

  fController = new DeviceListController(*fAppDelegate,
                                         {fPanel, interface.table, interface.hint, interface.settings}, fNow);
  fController->setHint(fHint);
  connect(fPanel, &ClickablePanel::resignedKey, this, &DeviceListWindowController::panelResignedKey);
  connect(fPanel, &ClickablePanel::cancelOperation, this, &DeviceListWindowController::cancelOperation);
  // After the list controller's own answer, which unregisters it.
  connect(fPanel, &ClickablePanel::willClose, this, &DeviceListWindowController::panelWillClose);
  connect(fPanel, &ClickablePanel::contentChanged, this, &DeviceListWindowController::fit);
  connect(fController, &DeviceListController::contentChanged, this, &DeviceListWindowController::fit);
  connect(interface.table, &ReturnIsDoubleClickTableView::cancelOperation, fPanel, &ClickablePanel::reject);
  fController->awakeFromNib();
}

ClickablePanel* DeviceListWindowController::panel() {
  load();
  return fClosed ? nullptr : fPanel.data();
}

DeviceListController* DeviceListWindowController::deviceListController() {
  load();
  return fClosed ? nullptr : fController.data();
}

void DeviceListWindowController::showAt(const PanelPlace& place) {
  ClickablePanel* window = panel();
  if (!window) return;
  fPlace = place;
  fit();
  window->makeKeyAndOrderFront(place.originOf(window->size()));
}

void DeviceListWindowController::fit() {
  if (!fPanel || fClosed || !fPlace) return;
  const QSize before = fPanel->size();
  const QSize size = fPanel->sizeIn(roomAt(*fPlace));
  if (size == before && fPanel->minimumSize() == size) return;
  const QPoint origin = fPlace->originOf(size);
  fPanel->takePlace({origin, size});
  if (isOnWayland() || origin != fPlace->originOf(before)) fController->panelMoved();
}

void DeviceListWindowController::close() {
  if (fClosed) return;
  fClosed = true;
  if (fPanel) fPanel->close();
}

void DeviceListWindowController::setHint(const PanelHint& hint) {
  fHint = hint;
  if (fController && !fClosed) fController->setHint(hint);
}

void DeviceListWindowController::cancelOperation() {
  fAppDelegate->setPanelVisible(false);
}

// The window system may close the panel too, and then the owner does not know it yet.
void DeviceListWindowController::panelWillClose() {
  if (!fClosed) fAppDelegate->setPanelVisible(false);
}

void DeviceListWindowController::panelResignedKey() {
  if (fClosed) return;
  emit hiddenByDeactivation();
  fAppDelegate->setPanelVisible(false);
}

}  // namespace vorn::ui
