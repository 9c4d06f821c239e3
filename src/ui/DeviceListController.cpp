#include "ui/DeviceListController.h"

#include <QEvent>
#include <QLabel>
#include <QStringList>
#include <QToolButton>
#include <string>
#include <utility>

#include "ui/ClickablePanel.h"
#include "ui/DeviceRowDelegate.h"
#include "ui/DeviceWords.h"
#include "ui/PanelOwner.h"
#include "ui/ReturnIsDoubleClickTableView.h"
#include "ui/SettingsMenu.h"
#include "ui/UnitMenu.h"

namespace vorn::ui {
DeviceListController::DeviceListController(PanelOwner& owner, Outlets outlets, Now now)
    : QObject(outlets.panel),
      fOwner(&owner),
      fOutlets(outlets),
      fRows(new DeviceRowDelegate(outlets.table)),
      fMenu(new SettingsMenu(owner, SettingsMenu::Quit::Offered, outlets.panel)),
      fMoves(*outlets.table, fModel, std::move(now)) {
  ReturnIsDoubleClickTableView* table = fOutlets.table;
  table->setItemDelegate(fRows);
  table->setModel(&fModel);
  table->setExtendedDelegate(this);
  connect(table, &ReturnIsDoubleClickTableView::doubleAction, this, &DeviceListController::openSelectedRow);
  connect(fOutlets.panel, &ClickablePanel::willClose, this, &DeviceListController::windowWillClose);
  connect(fOutlets.settings, &QToolButton::clicked, this, [this] { launchMenuFor(fOutlets.settings); });
  connect(fMenu, &QMenu::aboutToHide, fOutlets.panel, &ClickablePanel::menuDidClose);
  fOutlets.hint->setFont(smallerFont(fOutlets.hint->font(), 0.9));
  showHint();
}

void DeviceListController::awakeFromNib() {
  if (!fOwner) return;
  fOwner->addListener(this);
  fFirstRunWords = fOwner->firstRunWords();
  if (!fFirstRunWords) return;
  for (QObject* part : {static_cast<QObject*>(fOutlets.table->viewport()),
                        static_cast<QObject*>(fOutlets.settings), static_cast<QObject*>(fOutlets.panel)}) {
    part->installEventFilter(this);
  }
  showHint();
}

void DeviceListController::updateDeviceList(DeviceList::SharedUnits list) {
  ReturnIsDoubleClickTableView* table = fOutlets.table;
  const bool wasEmpty = fModel.isEmpty();
  const int selectedRow = table->selectedRow();
  const DeviceList::ExtendedDeviceInfo* selected = fModel.deviceAt(selectedRow);
  const bool hadSelection = selected != nullptr;
  const std::string url = hadSelection ? selected->url : std::string();

  fMoves.beginChange();
  ReturnIsDoubleClickTableView::ScrollPosition position(*table);
  const int rows = fModel.rowCount();
  fModel.setList(std::move(list));
  if (fModel.rowCount() != rows) {
    table->updateGeometry();
    emit contentChanged();
  }
  showHint();
  position.restore();
  if (wasEmpty) {
    table->selectRow(0);
  } else if (hadSelection) {
    follow(url, selectedRow);
  }
  fMoves.endChange();
}

void DeviceListController::follow(const std::string& url, int formerRow) {
  ReturnIsDoubleClickTableView* table = fOutlets.table;
  const int row = url.empty() ? -1 : fModel.rowOfUrl(url);
  if (row >= 0) {
    if (row != table->selectedRow()) table->selectRow(row);
  } else if (formerRow < fModel.deviceCount()) {
    table->selectRow(formerRow);
  } else {
    table->deselectAll();
  }
}

QMenu* DeviceListController::menu() {
  return fMenu;
}

void DeviceListController::tableViewMouseDownOnRow(ReturnIsDoubleClickTableView* table, int row) {
  const QModelIndex pressed = fModel.index(row);
  fClickOpens = table->selectedRow() == row && !fMoves.cameUnderPointer(pressed);
  fRows->setPressedRow(pressed);
}

void DeviceListController::tableViewDidClickRow(ReturnIsDoubleClickTableView* table, int row) {
  fRows->setPressedRow({});
  if (fClickOpens && table->selectedRow() == row) openIndex(row);
}

void DeviceListController::tableViewDidCancelClick(ReturnIsDoubleClickTableView*) {
  fRows->setPressedRow({});
}

void DeviceListController::tableViewMenuForRow(ReturnIsDoubleClickTableView*, int row, MenuBy by,
                                               QPoint place) {
  const QModelIndex index = fModel.index(row);
  const DeviceList::ExtendedDeviceInfo* device = fModel.deviceAt(row);
  if (!device) return;
  if (by == MenuBy::Pointer ? fMoves.cameUnderPointer(index) : fMoves.cameUnderSelection(index)) return;
  if (fUnitMenu) fUnitMenu->deleteLater();
  fUnitMenu = new UnitMenu(*device, fOutlets.panel);
  connect(fUnitMenu, &UnitMenu::pageRequested, this, [this, url = device->url] { open(url); });
  connect(fUnitMenu, &QMenu::aboutToHide, fOutlets.panel, &ClickablePanel::menuDidClose);
  fUnitMenu->popup(place);
}

void DeviceListController::openIndex(int row) {
  const DeviceList::ExtendedDeviceInfo* device = fModel.deviceAt(row);
  if (!device) return;
  const std::string url = device->url;  // the owner may publish a new list in the meantime
  open(url);
}

void DeviceListController::open(const std::string& url) {
  if (!fOwner) return;
  endFirstRunWords();
  fOwner->openUrl(url);
  if (fOwner) fOwner->setPanelVisible(false);
}

void DeviceListController::openSelectedRow() {
  const int row = fOutlets.table->selectedRow();
  if (!fMoves.cameUnderSelection(fModel.index(row))) openIndex(row);
}

void DeviceListController::launchMenuFor(QWidget* sender) {
  endFirstRunWords();
  const QPoint place =
      sender ? sender->mapToGlobal(QPoint(sender->width() / 2, sender->height())) : QPoint(0, 0);
  fMenu->popup(place);
}

void DeviceListController::setHint(const PanelHint& hint) {
  fHint = hint;
  showHint();
}

void DeviceListController::panelMoved() {
  fMoves.tableMoved();
}

void DeviceListController::showHint() {
  QStringList lines{hintWords(fHint, fModel.isEmpty())};
  if (fFirstRunWords) lines += firstRunHintWords();
  lines.removeAll(QString());
  const QString words = lines.join(u'\n');
  if (fOutlets.hint->text() == words) return;
  fOutlets.hint->setText(words);
  emit contentChanged();
}

// Only after the click, because the rows may move when the words go.
bool DeviceListController::eventFilter(QObject* watched, QEvent* event) {
  if (fFirstRunWords && event->type() == QEvent::MouseButtonRelease) {
    QMetaObject::invokeMethod(this, &DeviceListController::endFirstRunWords, Qt::QueuedConnection);
  }
  return QObject::eventFilter(watched, event);
}

void DeviceListController::endFirstRunWords() {
  if (!std::exchange(fFirstRunWords, false)) return;
  if (fOwner) fOwner->endFirstRunWords();
  showHint();
}

void DeviceListController::windowWillClose() {
  if (PanelOwner* owner = std::exchange(fOwner, nullptr)) owner->removeListener(this);
}

}  // namespace vorn::ui
