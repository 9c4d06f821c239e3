#pragma once

#include <QModelIndex>
#include <QRect>
#include <QString>

class QPainter;
class QStyleOptionViewItem;

namespace vorn::ui {

class ReturnIsDoubleClickTableView;

/// The content of one row (identifier "DeviceListEntryView"): the image of the
/// kind, the name, and the update badge. The table shows all its rows through
/// one of these, filled for the row in question. Main thread only.
class TableCellView {
 public:
  static constexpr char kIdentifier[] = "DeviceListEntryView";
  static constexpr int kHeight = 38;  ///< of a row, in points

  /// Takes text, image and badge from the row.
  void fill(const QModelIndex& row);
  void setTable(ReturnIsDoubleClickTableView* table) { fTable = table; }

  [[nodiscard]] const QString& text() const { return fText; }
  [[nodiscard]] const QString& imageName() const { return fImageName; }
  [[nodiscard]] bool updateBadgeShown() const { return fUpdateBadge; }

  /// Draws the content into the option's rectangle. The name is plain text,
  /// starts at the image whatever its own direction, and is elided.
  void draw(QPainter& painter, const QStyleOptionViewItem& option) const;

  /// The pointer has come to this row: selects it, if it belongs to a table.
  void mouseEntered() const;

 private:
  [[nodiscard]] bool isDevice() const;
  [[nodiscard]] QRect drawBadge(QPainter& painter, const QStyleOptionViewItem& option, QRect area) const;
  void drawName(QPainter& painter, const QStyleOptionViewItem& option, const QRect& area) const;

  QModelIndex fRow;
  ReturnIsDoubleClickTableView* fTable = nullptr;  // not owned
  QString fText;
  QString fImageName;
  bool fUpdateBadge = false;
};

}  // namespace vorn::ui
