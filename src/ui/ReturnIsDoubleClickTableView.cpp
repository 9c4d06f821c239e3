#include "ui/ReturnIsDoubleClickTableView.h"

#include <QContextMenuEvent>
#include <QEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>

#include "ui/DeviceRowDelegate.h"

namespace vorn::ui {
namespace {

constexpr int kMenuIndent = 42;  // below a name

}  // namespace

ReturnIsDoubleClickTableView::ReturnIsDoubleClickTableView(QWidget* parent) : QListView(parent) {
  setUniformItemSizes(true);
  setSelectionMode(QAbstractItemView::SingleSelection);
  setEditTriggers(QAbstractItemView::NoEditTriggers);
  setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setAutoScroll(false);  // a selection that follows its device or the pointer must not scroll
  setTabKeyNavigation(false);
  setMouseTracking(true);
  setFrameShape(QFrame::NoFrame);
}

QSize ReturnIsDoubleClickTableView::sizeHint() const {
  const int rows = model() ? model()->rowCount() : 0;
  return {QListView::sizeHint().width(), std::clamp(rows, kLeastRows, kMostRows) * sizeHintForRow(0)};
}

QSize ReturnIsDoubleClickTableView::minimumSizeHint() const {
  return {0, sizeHintForRow(0)};
}

int ReturnIsDoubleClickTableView::selectedRow() const {
  if (!selectionModel()) return -1;
  const QModelIndexList selected = selectionModel()->selectedIndexes();
  return selected.isEmpty() ? -1 : selected.first().row();
}

void ReturnIsDoubleClickTableView::selectRow(int row) {
  const QModelIndex index = model()->index(row, 0);
  if (index.isValid() && (index.flags() & Qt::ItemIsSelectable)) {
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
  }
}

void ReturnIsDoubleClickTableView::deselectAll() {
  selectionModel()->clear();
}

void ReturnIsDoubleClickTableView::mousePressEvent(QMouseEvent* event) {
  const QModelIndex index = indexAt(event->position().toPoint());
  if (event->button() != Qt::LeftButton || !index.isValid()) {
    event->accept();  // an ordinary press beside the rows would drop the selection
    return;
  }
  fPressed = index;
  fButtonDown = true;
  if (fExtendedDelegate) fExtendedDelegate->tableViewMouseDownOnRow(this, index.row());
  if (fPressed.isValid()) selectRow(fPressed.row());
}

void ReturnIsDoubleClickTableView::mouseDoubleClickEvent(QMouseEvent* event) {
  mousePressEvent(event);
}

void ReturnIsDoubleClickTableView::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton || !fButtonDown) return;
  fButtonDown = false;
  const QModelIndex pressed = fPressed;
  fPressed = QPersistentModelIndex();
  if (!fExtendedDelegate) return;
  if (pressed.isValid() && indexAt(event->position().toPoint()) == pressed) {
    fExtendedDelegate->tableViewDidClickRow(this, pressed.row());
  } else {
    fExtendedDelegate->tableViewDidCancelClick(this);
  }
}

void ReturnIsDoubleClickTableView::mouseMoveEvent(QMouseEvent* event) {
  // While a button is down, the pointer enters nothing: users take a press back by leaving the row and
  // releasing the button.
  if (event->buttons() == Qt::NoButton) pointerAt(event->position().toPoint());
}

void ReturnIsDoubleClickTableView::pointerAt(const QPoint& position) {
  const QModelIndex index = indexAt(position);
  if (index == fHovered) return;
  fHovered = index;
  TableCellView cell;
  cell.setTable(this);
  cell.fill(index);
  cell.mouseEntered();
}

void ReturnIsDoubleClickTableView::wheelEvent(QWheelEvent* event) {
  QListView::wheelEvent(event);
  pointerAt(event->position().toPoint());
}

bool ReturnIsDoubleClickTableView::viewportEvent(QEvent* event) {
  if (event->type() == QEvent::Leave) fHovered = QPersistentModelIndex();
  return QListView::viewportEvent(event);
}

void ReturnIsDoubleClickTableView::contextMenuEvent(QContextMenuEvent* event) {
  event->accept();
  if (event->reason() != QContextMenuEvent::Mouse) {
    askForMenuOfSelectedRow();
    return;
  }
  const QModelIndex index = indexAt(event->pos());
  if (!index.isValid() || !fExtendedDelegate) return;
  selectRow(index.row());
  fExtendedDelegate->tableViewMenuForRow(this, index.row(), MenuBy::Pointer, event->globalPos());
}

void ReturnIsDoubleClickTableView::askForMenuOfSelectedRow() {
  const int row = selectedRow();
  if (row < 0 || !fExtendedDelegate) return;
  const QModelIndex index = model()->index(row, 0);
  scrollTo(index);
  const QRect place = visualRect(index);
  const int x = isRightToLeft() ? place.right() - kMenuIndent : place.left() + kMenuIndent;
  const QPoint below(x, place.bottom());
  fExtendedDelegate->tableViewMenuForRow(this, row, MenuBy::Key, viewport()->mapToGlobal(below));
}

void ReturnIsDoubleClickTableView::keyPressEvent(QKeyEvent* event) {
  // Not every platform makes a request for a menu of these keys.
  const bool asksForMenu = event->key() == Qt::Key_Menu ||
                           (event->key() == Qt::Key_F10 && event->modifiers() == Qt::ShiftModifier);
  if (asksForMenu) {
    event->accept();
    askForMenuOfSelectedRow();
    return;
  }
  switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
      event->accept();
      emit doubleAction();
      return;
    case Qt::Key_Escape:
      event->accept();
      emit cancelOperation();
      return;
    default:
      QListView::keyPressEvent(event);
      if (currentIndex().isValid()) scrollTo(currentIndex());
  }
}

void ReturnIsDoubleClickTableView::keyboardSearch(const QString& search) {
  QListView::keyboardSearch(search);
  if (currentIndex().isValid()) scrollTo(currentIndex());
}

// QListView would lay all rows out again, which repaints the whole viewport, and the base class repaints all
// of it for a span of rows. All rows have one height, so each changed row is announced separately, and only
// to the base class.
void ReturnIsDoubleClickTableView::dataChanged(const QModelIndex& topLeft, const QModelIndex& bottomRight,
                                               const QList<int>& roles) {
  for (int row = topLeft.row(); row <= bottomRight.row(); ++row) {
    const QModelIndex changed = topLeft.siblingAtRow(row);
    QAbstractItemView::dataChanged(changed, changed, roles);  // NOLINT(bugprone-parent-virtual-call)
  }
}

// QListView draws every row between the first and the last one that needs drawing.
void ReturnIsDoubleClickTableView::paintEvent(QPaintEvent* event) {
  for (const QRect& rect : event->region()) {
    QPaintEvent part(rect);
    QListView::paintEvent(&part);
  }
}

ReturnIsDoubleClickTableView::ScrollPosition::ScrollPosition(ReturnIsDoubleClickTableView& table)
    : fTable(table) {
  if (fTable.verticalScrollBar()->value() == 0) return;
  fTop = fTable.indexAt(QPoint(0, 0));
  if (fTop.isValid()) fOffset = fTable.visualRect(fTop).top();
}

void ReturnIsDoubleClickTableView::ScrollPosition::restore() {
  fTable.executeDelayedItemsLayout();  // otherwise rows would be looked up where they were before
  if (!fTop.isValid()) return;
  QScrollBar* bar = fTable.verticalScrollBar();
  bar->setValue(bar->value() + fTable.visualRect(fTop).top() - fOffset);
}

}  // namespace vorn::ui
