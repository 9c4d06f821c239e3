#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QPalette>

#include "ui/CustomHighlightRowView.h"

namespace vorn::ui {
namespace {

const QColor kStyles(10, 200, 30);  // what the toolkit's style has drawn before
const QColor kBase(250, 250, 250);

QColor Drawn(const CustomHighlightRowView& view) {
  QImage image(4, 4, QImage::Format_ARGB32_Premultiplied);
  image.fill(kStyles);
  QPalette palette;
  palette.setColor(QPalette::Base, kBase);
  QPainter painter(&image);
  painter.setCompositionMode(QPainter::CompositionMode_Clear);  // of no concern to the row
  view.drawSelectionInRect(painter, image.rect(), palette);
  return image.pixelColor(1, 1);
}

QColor Over(double alpha) {
  const auto mix = [alpha](int from, int to) {
    return static_cast<int>(from * (1 - alpha) + to * alpha + 0.5);
  };
  return {mix(kBase.red(), 0), mix(kBase.green(), 161), mix(kBase.blue(), 240)};
}

void ExpectNear(const QColor& a, const QColor& b) {
  EXPECT_NEAR(a.red(), b.red(), 2);
  EXPECT_NEAR(a.green(), b.green(), 2);
  EXPECT_NEAR(a.blue(), b.blue(), 2);
  EXPECT_EQ(a.alpha(), 255);
}

TEST(CustomHighlightRowView, HasItsIdentifierAndTheNormalColour) {
  EXPECT_STREQ(CustomHighlightRowView::kIdentifier, "RowView");
  const CustomHighlightRowView view;
  EXPECT_EQ(view.highlightColor(), CustomHighlightRowView::normalColor());
  EXPECT_NEAR(view.highlightColor().redF(), 0, 1e-4);
  EXPECT_NEAR(view.highlightColor().greenF(), 161.0 / 255, 1e-4);
  EXPECT_NEAR(view.highlightColor().blueF(), 240.0 / 255, 1e-4);
  EXPECT_NEAR(view.highlightColor().alphaF(), 0.15, 1e-4);
  EXPECT_NEAR(CustomHighlightRowView::pressedColor().alphaF(), 0.3, 1e-4);
}

TEST(CustomHighlightRowView, DrawsTheRowsBackgroundAndItsColourOverTheSelection) {
  CustomHighlightRowView view;
  ExpectNear(Drawn(view), Over(0.15));
  view.setHighlightColor(CustomHighlightRowView::pressedColor());
  ExpectNear(Drawn(view), Over(0.3));
}

TEST(CustomHighlightRowView, DrawsNothingWithoutTheRegularStyle) {
  CustomHighlightRowView view;
  view.setSelectionStyle(CustomHighlightRowView::SelectionStyle::None);
  EXPECT_EQ(Drawn(view), kStyles);
}

}  // namespace
}  // namespace vorn::ui
