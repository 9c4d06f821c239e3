#include "ui/CustomHighlightRowView.h"

#include <QPainter>
#include <QPalette>

namespace vorn::ui {
namespace {

QColor highlight(qreal alpha) {
  QColor color(0, 161, 240);
  color.setAlphaF(static_cast<float>(alpha));
  return color;
}

}  // namespace

QColor CustomHighlightRowView::normalColor() {
  return highlight(0.15);
}

QColor CustomHighlightRowView::pressedColor() {
  return highlight(0.3);
}

void CustomHighlightRowView::drawSelectionInRect(QPainter& painter, const QRect& rect,
                                                 const QPalette& palette) const {
  if (fStyle != SelectionStyle::Regular) return;
  painter.save();
  painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
  painter.fillRect(rect, palette.base());
  painter.fillRect(rect, fHighlightColor);
  painter.restore();
}

}  // namespace vorn::ui
