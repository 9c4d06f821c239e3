#pragma once

#include <QColor>
#include <QFont>
#include <QModelIndex>
#include <QPersistentModelIndex>
#include <QRect>
#include <QString>
#include <QStyledItemDelegate>

class QFontMetrics;
class QPainter;
class QPalette;
class QStyleOptionViewItem;

namespace vorn::ui {

/// Draws the background of one row (identifier "RowView"). The table draws all its rows with one of these and
/// sets the row's own colour before.
class CustomHighlightRowView {
 public:
  enum class SelectionStyle {
    None,     ///< selected rows are not marked
    Regular,  ///< selected rows show the highlight
  };

  static constexpr char kIdentifier[] = "RowView";

  /// The highlight of a selected row, and of a row with the button down.
  [[nodiscard]] static QColor normalColor();
  [[nodiscard]] static QColor pressedColor();

  void setHighlightColor(const QColor& color) { fHighlightColor = color; }
  [[nodiscard]] const QColor& highlightColor() const { return fHighlightColor; }
  void setSelectionStyle(SelectionStyle style) { fStyle = style; }

  /// With the regular style: the row's background, which covers the style's own selection, then the highlight
  /// colour over it. With any other style: nothing.
  void drawSelectionInRect(QPainter& painter, const QRect& rect, const QPalette& palette) const;

 private:
  QColor fHighlightColor = normalColor();
  SelectionStyle fStyle = SelectionStyle::Regular;
};

class ReturnIsDoubleClickTableView;

/// The font, smaller by this factor.
[[nodiscard]] QFont smallerFont(QFont font, qreal factor);

/// The content of one row (identifier "DeviceListEntryView"): the image of the kind, the name, the update
/// badge, and a quiet second line with model and firmware, as far as known. The table shows all its rows with
/// one of these and fills it for each row. Main thread only.
class TableCellView {
 public:
  static constexpr char kIdentifier[] = "DeviceListEntryView";
  /// Of every row, in points.
  [[nodiscard]] static int heightFor(const QFont& font);

  /// Takes text, image and badge from the row.
  void fill(const QModelIndex& row);
  void setTable(ReturnIsDoubleClickTableView* table) { fTable = table; }

  [[nodiscard]] const QString& text() const { return fText; }
  [[nodiscard]] const QString& imageName() const { return fImageName; }
  [[nodiscard]] bool updateBadgeShown() const { return fUpdateBadge; }
  /// The second line in this width. First the model becomes shorter, and last the firmware.
  [[nodiscard]] QString secondLine(const QFontMetrics& metrics, int width) const;

  /// Draws the content into the option's rectangle, mirrored if the option's direction is from right to left.
  /// Texts are plain and start at the image whatever their own direction is. A long name is elided in the
  /// middle, because names often differ at their ends only.
  void draw(QPainter& painter, const QStyleOptionViewItem& option) const;

  /// The pointer has reached this row: selects it, if it belongs to a table.
  void mouseEntered() const;

 private:
  [[nodiscard]] bool isDevice() const;
  [[nodiscard]] QRect drawBadge(QPainter& painter, const QStyleOptionViewItem& option, QRect area) const;
  void drawTexts(QPainter& painter, const QStyleOptionViewItem& option, const QRect& area) const;

  QModelIndex fRow;
  ReturnIsDoubleClickTableView* fTable = nullptr;  // not owned
  QString fText;
  QString fImageName;
  QString fModel;
  QString fDetails;
  bool fUpdateBadge = false;
};

/// Draws the table's rows: a CustomHighlightRowView below a TableCellView, one of each for all rows. Knows on
/// which row the button is down. Main thread only.
class DeviceRowDelegate : public QStyledItemDelegate {
  Q_OBJECT

 public:
  explicit DeviceRowDelegate(ReturnIsDoubleClickTableView* table);
  ~DeviceRowDelegate() override = default;
  Q_DISABLE_COPY_MOVE(DeviceRowDelegate)

  /// The row with the pressed highlight; an invalid index: none. It stays with its device when rows move.
  void setPressedRow(const QModelIndex& row);

  void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
  [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

 private:
  ReturnIsDoubleClickTableView* fTable;  // our parent
  QPersistentModelIndex fPressed;
};

}  // namespace vorn::ui
