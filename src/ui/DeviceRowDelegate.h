#pragma once

#include <QPersistentModelIndex>
#include <QStyledItemDelegate>

#include "ui/CustomHighlightRowView.h"
#include "ui/TableCellView.h"

namespace vorn::ui {

/// Draws the table's rows: a CustomHighlightRowView below a TableCellView, one
/// of each for all rows. Knows which row the button is down on. Main thread only.
class DeviceRowDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  explicit DeviceRowDelegate(ReturnIsDoubleClickTableView* table);
  ~DeviceRowDelegate() override = default;
  Q_DISABLE_COPY_MOVE(DeviceRowDelegate)

  /// The row that carries the pressed highlight; an invalid index: none. It
  /// stays with its device when rows move.
  void setPressedRow(const QModelIndex& row);

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 signals:
  /// A row is being drawn.
  void rowPainted(int row) const;

 private:
  ReturnIsDoubleClickTableView* fTable;  // our parent
  QPersistentModelIndex fPressed;
};

}  // namespace vorn::ui
