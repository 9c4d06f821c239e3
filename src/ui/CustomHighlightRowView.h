#pragma once

#include <QColor>
#include <QRect>

class QPainter;
class QPalette;

namespace vorn::ui {

/// Draws the background of one row (identifier "RowView"). The table draws all
/// its rows through one of these, with the row's own colour set before.
class CustomHighlightRowView {
 public:
  enum class SelectionStyle {
    None,     ///< selected rows are not marked
    Regular,  ///< selected rows carry the highlight
  };

  static constexpr char kIdentifier[] = "RowView";

  /// Highlight of a selected row, and of a row on which the button is down.
  [[nodiscard]] static QColor normalColor();
  [[nodiscard]] static QColor pressedColor();

  void setHighlightColor(const QColor& color) { fHighlightColor = color; }
  [[nodiscard]] const QColor& highlightColor() const { return fHighlightColor; }
  void setSelectionStyle(SelectionStyle style) { fStyle = style; }

  /// With the regular style: the row's background, covering the style's own
  /// selection, then the highlight colour over it. With any other nothing.
  void drawSelectionInRect(QPainter& painter, const QRect& rect, const QPalette& palette) const;

 private:
  QColor fHighlightColor = normalColor();
  SelectionStyle fStyle = SelectionStyle::Regular;
};

}  // namespace vorn::ui
