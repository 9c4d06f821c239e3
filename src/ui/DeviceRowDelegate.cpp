#include "ui/DeviceRowDelegate.h"

#include "ui/ReturnIsDoubleClickTableView.h"

namespace vorn::ui {

DeviceRowDelegate::DeviceRowDelegate(ReturnIsDoubleClickTableView* table)
    : QStyledItemDelegate(table), fTable(table) {}

void DeviceRowDelegate::setPressedRow(const QModelIndex& row) {
  const QModelIndex before = fPressed;
  fPressed = row;
  if (before.isValid()) fTable->update(before);
  if (row.isValid()) fTable->update(row);
}

void DeviceRowDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                              const QModelIndex& index) const {
  emit rowPainted(index.row());
  if (option.state & QStyle::State_Selected) {
    CustomHighlightRowView rowView;
    if (fPressed.isValid() && fPressed == index)
      rowView.setHighlightColor(CustomHighlightRowView::pressedColor());
    rowView.drawSelectionInRect(*painter, option.rect, option.palette);
  }
  TableCellView cell;
  cell.setTable(fTable);
  cell.fill(index);
  cell.draw(*painter, option);
}

QSize DeviceRowDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const {
  return {TableCellView::kHeight, TableCellView::kHeight};
}

}  // namespace vorn::ui
