#include "ui/DeviceRowDelegate.h"

#include <QApplication>
#include <QFontMetrics>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QStyle>
#include <QStyleOptionViewItem>
#include <algorithm>

#include "ui/DeviceListModel.h"
#include "ui/DeviceWords.h"
#include "ui/ReturnIsDoubleClickTableView.h"
#include "ui/TemplateImage.h"

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

namespace {

constexpr int kMargin = 10;
constexpr int kImage = 24;
constexpr int kLeastHeight = 38;
constexpr int kPadding = 6;  // above and below the texts
constexpr qreal kSecondLine = 0.88;
constexpr qreal kBadge = 0.85;
constexpr float kQuiet = 0.65F;  // less prominent than a name, and still easy to read
constexpr int kGap = 8;
constexpr int kBadgeArrow = 10;

const QColor kBadgeColor(0, 94, 158);  // white text on it keeps a contrast above 6:1, light or dark

// The rectangle on the screen of one in a row from left to right.
QRect placed(const QRect& rect, const QStyleOptionViewItem& option) {
  return QStyle::visualRect(option.direction, option.rect, rect);
}

// Where texts of the row begin, whatever their own direction is.
int atTheBeginning(const QStyleOptionViewItem& option) {
  return static_cast<int>(QStyle::visualAlignment(option.direction, Qt::AlignLeft) | Qt::AlignAbsolute);
}

}  // namespace

QFont smallerFont(QFont font, qreal factor) {
  if (font.pointSizeF() > 0) {
    font.setPointSizeF(font.pointSizeF() * factor);
  } else {
    font.setPixelSize(std::max(1, qRound(font.pixelSize() * factor)));
  }
  return font;
}

int TableCellView::heightFor(const QFont& font) {
  const int lines = QFontMetrics(font).height() + QFontMetrics(smallerFont(font, kSecondLine)).height();
  return std::max(kLeastHeight, lines + 2 * kPadding);
}

void TableCellView::fill(const QModelIndex& row) {
  fRow = row;
  fText = row.data(Qt::DisplayRole).toString();
  fImageName = row.data(DeviceListModel::ImageNameRole).toString();
  fUpdateBadge = row.data(DeviceListModel::UpdateRole).toBool();
  fModel = row.data(DeviceListModel::ModelRole).toString();
  fDetails = row.data(DeviceListModel::DetailsRole).toString();
}

void TableCellView::draw(QPainter& painter, const QStyleOptionViewItem& option) const {
  painter.save();
  painter.setClipRect(option.rect);
  QRect area = option.rect.adjusted(kMargin, 0, -kMargin, 0);
  if (!fImageName.isEmpty()) {
    const QRect image = placed({area.left(), area.center().y() - kImage / 2 + 1, kImage, kImage}, option);
    TemplateImage(fImageName, image.size())
        .draw(painter, image, 0.85, Tint{option.palette.color(QPalette::Text), {}});
  }
  // Names stand in one column, with or without an image. The placeholder is no name.
  if (isDevice()) area.setLeft(area.left() + kImage + kGap);
  if (fUpdateBadge) area = drawBadge(painter, option, area);
  drawTexts(painter, option, area);
  painter.restore();
}

bool TableCellView::isDevice() const {
  return fRow.flags().testFlag(Qt::ItemIsSelectable);
}

// Returns the rest of the area. All areas are those of a row from left to right, and only what is drawn is
// mirrored.
QRect TableCellView::drawBadge(QPainter& painter, const QStyleOptionViewItem& option, QRect area) const {
  QFont font = smallerFont(option.font, kBadge);
  font.setBold(true);
  const QFontMetrics metrics(font);
  const QString word = DeviceRowDelegate::tr("Update", "the badge of a unit: as short as possible");
  const int height = metrics.height() + 4;
  const int width = height / 2 + kBadgeArrow + 3 + metrics.horizontalAdvance(word) + height / 2;
  const QRect badge(area.right() - width + 1, area.center().y() - height / 2 + 1, width, height);
  const QRect arrow(badge.left() + height / 2 - 2, badge.center().y() - kBadgeArrow / 2 + 1, kBadgeArrow,
                    kBadgeArrow);

  painter.save();
  painter.setRenderHint(QPainter::Antialiasing);
  QPainterPath pill;
  pill.addRoundedRect(placed(badge, option), height / 2.0, height / 2.0);
  painter.fillPath(pill, kBadgeColor);
  TemplateImage(QStringLiteral("badge"), arrow.size())
      .draw(painter, placed(arrow, option), 1.0, Tint{Qt::white, {}});
  painter.setFont(font);
  painter.setPen(Qt::white);
  painter.drawText(placed(badge.adjusted(height / 2 + kBadgeArrow + 1, 0, 0, 0), option),
                   atTheBeginning(option) | Qt::AlignVCenter, word);
  painter.restore();
  return area.adjusted(0, 0, -width - kGap, 0);
}

QString TableCellView::secondLine(const QFontMetrics& metrics, int width) const {
  QString whole = detailLine({fModel, fDetails});
  if (metrics.horizontalAdvance(whole) <= width) return whole;
  if (fModel.isEmpty() || fDetails.isEmpty()) return metrics.elidedText(whole, Qt::ElideMiddle, width);
  const QString model = metrics.elidedText(
      fModel, Qt::ElideRight, width - metrics.horizontalAdvance(detailLine({QStringLiteral(" "), fDetails})));
  const QString shorter = detailLine({model, fDetails});
  return metrics.horizontalAdvance(shorter) <= width ? shorter
                                                     : metrics.elidedText(fDetails, Qt::ElideMiddle, width);
}

void TableCellView::drawTexts(QPainter& painter, const QStyleOptionViewItem& option,
                              const QRect& area) const {
  const QColor color = option.palette.color(QPalette::Text);
  QColor quiet = color;
  quiet.setAlphaF(kQuiet);
  const QFont secondFont = smallerFont(option.font, kSecondLine);
  const QFontMetrics second(secondFont);
  const QString details = secondLine(second, area.width());
  const int height = option.fontMetrics.height();
  const int both = height + (details.isEmpty() ? 0 : second.height());
  const QRect name(area.left(), area.top() + (area.height() - both) / 2, area.width(), height);

  painter.setFont(option.font);
  const auto draw = [&](const QRect& line, const QString& text) {
    painter.setLayoutDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
    painter.drawText(placed(line, option), atTheBeginning(option) | Qt::AlignVCenter | Qt::TextSingleLine,
                     text);
  };
  painter.setPen(isDevice() ? color : quiet);
  draw(name, option.fontMetrics.elidedText(fText, Qt::ElideMiddle, name.width()));
  if (details.isEmpty()) return;
  painter.setFont(secondFont);
  painter.setPen(quiet);
  draw({name.left(), name.bottom() + 1, name.width(), second.height()}, details);
}

void TableCellView::mouseEntered() const {
  if (fTable && fRow.isValid()) fTable->selectRow(fRow.row());
}

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

QSize DeviceRowDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const {
  return {kImage, TableCellView::heightFor(option.font)};
}

}  // namespace vorn::ui
