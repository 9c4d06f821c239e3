#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>

#include "tests/ui/PanelFixture.h"
#include "ui/DeviceWords.h"
#include "ui/DisplayText.h"
#include "ui/SettingsMenu.h"

// Runs with an Arabic user's environment, for which there is no catalogue.
namespace vorn::ui {
namespace {

const QColor kBadge(0, 94, 158);

// The smallest rectangle around the pixels for which `counts` is true.
template <typename Counts>
QRect around(const QImage& image, Counts counts) {
  QRect found;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      if (counts(x, y)) found |= QRect(x, y, 1, 1);
    }
  }
  return found;
}

QRect badgeIn(const QImage& image) {
  return around(image, [&](int x, int y) { return image.pixelColor(x, y) == kBadge; });
}

QRect mirrored(const QRect& rect, int width) {
  return {width - rect.x() - rect.width(), rect.y(), rect.width(), rect.height()};
}

class TranslationsRightToLeftTest : public PanelFixture {
 protected:
  // One row in each direction, without a selection.
  void openOneRow(const DeviceList::ExtendedDeviceInfo& device) {
    open({device});
    table()->deselectAll();
    fMirrored = row();
    fPanel->setLayoutDirection(Qt::LeftToRight);
    settle();
    fUsual = row();
    ASSERT_EQ(fMirrored.size(), fUsual.size());
  }
  QImage row() const {
    return table()->viewport()->grab(table()->visualRect(table()->model()->index(0, 0))).toImage();
  }

  QImage fMirrored;
  QImage fUsual;
};

TEST_F(TranslationsRightToLeftTest, TextsWithoutTranslationStayAsTheyAre) {
  EXPECT_TRUE(QGuiApplication::isRightToLeft());
  EXPECT_EQ(nothingListedWords(), "No Local Devices Found.");
  EXPECT_EQ(allDevicesWords(2), "All Devices (2)...");
}

TEST_F(TranslationsRightToLeftTest, TheBadgeIsOnTheOtherSideWithItsArrowAtItsBeginning) {
  openOneRow(Device("Hall", {1, 0, 0, 0}, {2, 0, 0, 0}));
  const QRect badge = badgeIn(fMirrored);
  const QRect usual = badgeIn(fUsual);
  ASSERT_FALSE(usual.isEmpty());
  EXPECT_LT(badge.right(), fMirrored.width() / 2);
  EXPECT_GT(usual.left(), fUsual.width() / 2);
  EXPECT_EQ(badge, mirrored(usual, fUsual.width()));
  // The arrow is symmetric, so its end of the badge is the mirrored one.
  const int arrow = badge.height() / 2 + 8;
  const QImage end = fMirrored.copy(badge.right() - arrow, badge.top(), arrow, badge.height());
  EXPECT_EQ(end.mirrored(true, false), fUsual.copy(usual.left() + 1, usual.top(), arrow, usual.height()));
}

TEST_F(TranslationsRightToLeftTest, TheImageIsAtTheRightAndTheNameBesideIt) {
  openOneRow(Device("Hall"));
  const auto isDrawn = [](const QImage& image, int left, int width) {
    const QImage part = image.copy(left, 0, width, image.height());
    return !around(part, [&](int x, int y) {
              return part.pixelColor(x, y) != image.pixelColor(1, 1);
            }).isEmpty();
  };
  const int width = fMirrored.width();
  const int image = 36;
  const int name = 24;
  EXPECT_TRUE(isDrawn(fUsual, 0, image) && isDrawn(fUsual, image, name));
  EXPECT_FALSE(isDrawn(fUsual, width / 2, width / 2));
  EXPECT_TRUE(isDrawn(fMirrored, width - image, image) && isDrawn(fMirrored, width - image - name, name));
  EXPECT_FALSE(isDrawn(fMirrored, 0, width / 2));
}

TEST_F(TranslationsRightToLeftTest, NamesKeepTheirOrderInASentenceAndNoNameStaysNone) {
  EXPECT_EQ(isolatedText("Hall (1)"), "\u2068Hall (1)\u2069");
  EXPECT_EQ(isolatedText(""), "");
}

TEST_F(TranslationsRightToLeftTest, TheSettingsButtonIsAtTheLeft) {
  open({});
  const auto* settings = fPanel->findChild<QToolButton*>("settings");
  EXPECT_LT(settings->mapTo(fPanel, settings->rect().center()).x(), fPanel->width() / 4);
}

TEST_F(TranslationsRightToLeftTest, CheckMarksAreAtTheRightOfTheMenu) {
  SettingsMenu menu(fOwner, SettingsMenu::Quit::Offered);
  menu.resize(menu.sizeHint());
  const QImage with = menu.grab().toImage();
  menu.shouldNotify()->setChecked(false);
  const QImage without = menu.grab().toImage();
  const QRect mark = around(with, [&](int x, int y) { return with.pixel(x, y) != without.pixel(x, y); });
  ASSERT_FALSE(mark.isEmpty());
  EXPECT_GT(mark.left(), with.width() / 2);
}

}  // namespace
}  // namespace vorn::ui
