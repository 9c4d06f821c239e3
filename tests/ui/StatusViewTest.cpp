#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>
#include <memory>

#include "ui/StatusView.h"

namespace vorn::ui {
namespace {

const QColor kBar(200, 40, 40);
const QColor kBarHighlighted(40, 40, 200);

/// An item of either form that records its calls.
class ScriptedItem : public StatusItem {
 public:
  explicit ScriptedItem(bool hasButton) : fHasButton(hasButton) {}

  bool hasButton() const override { return fHasButton; }
  int length() const override { return 19; }
  int thickness() const override { return 22; }
  void setButtonImage(const QString& imageName) override { fImage = imageName; }
  void setButtonTarget(QObject* target) override { fTarget = target; }
  void setButtonAction(Action action) override { fAction = std::move(action); }
  void setButtonAppearsDisabled(bool disabled) override { fDisabled = disabled; }
  QWindow* buttonWindow() const override { return nullptr; }
  void setView(StatusView* view) override { fView = view; }
  void drawStatusBarBackgroundInRect(QPainter& painter, const QRectF& rect, bool highlight) override {
    painter.fillRect(rect, highlight ? kBarHighlighted : kBar);
  }
  QRect geometry() const override { return {}; }
  PressPlace press() const override { return {}; }
  void setContextMenu(QMenu*) override {}

  void becomeViewForm() {
    fHasButton = false;
    emit formChanged();
  }

  bool fHasButton;
  QString fImage;
  QObject* fTarget = nullptr;
  Action fAction;
  bool fDisabled = false;
  StatusView* fView = nullptr;
};

QImage Drawn(StatusView& view, qreal ratio = 1) {
  QImage image(view.size() * ratio, QImage::Format_ARGB32_Premultiplied);
  image.setDevicePixelRatio(ratio);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  view.drawRect(painter, QRectF(view.rect()));
  return image;
}

TEST(StatusViewTest, IsAsWideAsTheItemAndAsHighAsTheBar) {
  ScriptedItem item(false);
  const StatusView view(&item);
  EXPECT_EQ(view.geometry(), QRect(0, 0, 19, 22));
  EXPECT_EQ(view.image().name(), "MenuIcon");
  EXPECT_TRUE(view.image().exists());
  EXPECT_FALSE(view.highlight());
  EXPECT_FALSE(view.active());
}

TEST(StatusViewTest, IsInstalledInTheViewForm) {
  ScriptedItem item(false);
  StatusView view(&item);
  EXPECT_EQ(item.fView, &view);
  view.setActive(true);
  QObject target;
  view.setTarget(&target);
  view.setAction([] {});
  EXPECT_EQ(item.fImage, "");
  EXPECT_EQ(item.fTarget, nullptr);
  EXPECT_FALSE(item.fAction);
}

TEST(StatusViewTest, PassesEverythingToTheButtonAndIsNeverInstalledThere) {
  ScriptedItem item(true);
  StatusView view(&item);
  EXPECT_EQ(item.fImage, "MenuIcon");
  EXPECT_TRUE(item.fDisabled);
  QObject target;
  int presses = 0;
  view.setTarget(&target);
  view.setAction([&] { ++presses; });
  view.setActive(true);
  EXPECT_EQ(item.fTarget, &target);
  ASSERT_TRUE(item.fAction);
  item.fAction();
  EXPECT_EQ(presses, 1);
  EXPECT_FALSE(item.fDisabled);
  view.setActive(false);
  EXPECT_TRUE(item.fDisabled);
  EXPECT_EQ(item.fView, nullptr);
  EXPECT_EQ(view.statusWindow(), nullptr);
}

TEST(StatusViewTest, MovesToTheViewFormWhenTheHostTurnsOutToBeOne) {
  ScriptedItem item(true);
  StatusView view(&item);
  EXPECT_EQ(item.fView, nullptr);
  item.becomeViewForm();
  EXPECT_EQ(item.fView, &view);
}

TEST(StatusViewTest, PressSendsTheActionOnceTargetAndActionAreSet) {
  ScriptedItem item(false);
  StatusView view(&item);
  int presses = 0;
  QTest::mouseClick(&view, Qt::LeftButton);
  view.setAction([&] { ++presses; });
  QTest::mouseClick(&view, Qt::LeftButton);
  EXPECT_EQ(presses, 0);
  auto target = std::make_unique<QObject>();
  view.setTarget(target.get());
  QTest::mouseClick(&view, Qt::LeftButton);
  QTest::mouseClick(&view, Qt::LeftButton);
  EXPECT_EQ(presses, 2);
  view.setAction({});
  QTest::mouseClick(&view, Qt::LeftButton);
  EXPECT_EQ(presses, 2);
}

TEST(StatusViewTest, OnlyTheLeftButtonPresses) {
  ScriptedItem item(false);
  StatusView view(&item);
  QObject target;
  int presses = 0;
  view.setTarget(&target);
  view.setAction([&] { ++presses; });
  for (const Qt::MouseButton button : {Qt::RightButton, Qt::MiddleButton, Qt::BackButton}) {
    QTest::mouseClick(&view, button);
  }
  EXPECT_EQ(presses, 0);
  QTest::mouseClick(&view, Qt::LeftButton);
  EXPECT_EQ(presses, 1);
}

TEST(StatusViewTest, PressDoesNothingOnceTheTargetIsGone) {
  ScriptedItem item(false);
  StatusView view(&item);
  int presses = 0;
  auto target = std::make_unique<QObject>();
  view.setTarget(target.get());
  view.setAction([&] { ++presses; });
  target.reset();
  QTest::mouseClick(&view, Qt::LeftButton);
  EXPECT_EQ(presses, 0);
}

TEST(StatusViewTest, KeepsWhatItWasGiven) {
  ScriptedItem item(true);
  StatusView view(&item);
  QObject target;
  view.setTarget(&target);
  view.setAction([] {});
  view.setImage(TemplateImage("badge", {12, 12}));
  EXPECT_EQ(view.item(), &item);
  EXPECT_EQ(view.target(), &target);
  EXPECT_TRUE(view.action());
  EXPECT_EQ(view.image().name(), "badge");
  EXPECT_EQ(item.fImage, "badge");
}

TEST(StatusViewTest, IsInItsOwnWindowInTheViewForm) {
  ScriptedItem item(false);
  StatusView view(&item);
  EXPECT_EQ(view.statusWindow(), nullptr);
  view.show();
  ASSERT_NE(view.statusWindow(), nullptr);
  EXPECT_EQ(view.statusWindow(), view.windowHandle());
}

TEST(StatusViewTest, SurvivesItsItem) {
  auto item = std::make_unique<ScriptedItem>(false);
  StatusView view(item.get());
  item.reset();
  view.setActive(true);
  view.setHighlight(true);
  EXPECT_EQ(view.item(), nullptr);
  EXPECT_FALSE(Drawn(view).isNull());
}

TEST(StatusViewTest, TellsWhenItsLookChanges) {
  ScriptedItem item(false);
  StatusView view(&item);
  QSignalSpy changes(&view, &StatusView::needsDisplay);
  view.setHighlight(true);
  view.setActive(true);
  EXPECT_EQ(changes.count(), 2);
  view.setHighlight(true);
  view.setActive(true);
  EXPECT_EQ(changes.count(), 2) << "nothing has changed";
  view.setImage(TemplateImage(QStringLiteral("MenuIcon"), QSize(16, 16)));
  view.setActive(false);
  EXPECT_EQ(changes.count(), 4);
}

TEST(StatusViewTest, DrawsTheBarsBackgroundBelowTheImage) {
  ScriptedItem item(false);
  StatusView view(&item);
  EXPECT_EQ(Drawn(view).pixelColor(0, 0), kBar);
  view.setHighlight(true);
  EXPECT_EQ(Drawn(view).pixelColor(0, 0), kBarHighlighted);
  EXPECT_EQ(Drawn(view).pixelColor(18, 21), kBarHighlighted);
}

TEST(StatusViewTest, CentresTheImageWithoutRounding) {
  ScriptedItem item(false);
  StatusView view(&item);
  view.setActive(true);
  // 19 points contain a 16 point image from 1.5 to 17.5: at twice the resolution from pixel 3 to 34.
  const QImage image = Drawn(view, 2);
  int left = image.width();
  int right = -1;
  int top = image.height();
  int bottom = -1;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      if (image.pixelColor(x, y) == kBar) continue;
      left = std::min(left, x);
      right = std::max(right, x);
      top = std::min(top, y);
      bottom = std::max(bottom, y);
    }
  }
  EXPECT_EQ(left + right, image.width() - 1);
  EXPECT_EQ(top + bottom, image.height() - 1);
  EXPECT_GE(left, 3);
  EXPECT_LE(right, 34);
}

TEST(StatusViewTest, DrawsAtHalfOpacityWhileNotActive) {
  ScriptedItem item(false);
  StatusView view(&item);
  view.setActive(true);
  const QImage active = Drawn(view, 4);
  view.setActive(false);
  const QImage inactive = Drawn(view, 4);
  int compared = 0;
  for (int y = 0; y < active.height(); ++y) {
    for (int x = 0; x < active.width(); ++x) {
      const QColor full = active.pixelColor(x, y);
      if (full == kBar) continue;
      const QColor half = inactive.pixelColor(x, y);
      ASSERT_NEAR(half.red(), (full.red() + kBar.red()) / 2.0, 2) << x << ',' << y;
      ASSERT_NEAR(half.green(), (full.green() + kBar.green()) / 2.0, 2) << x << ',' << y;
      ASSERT_NEAR(half.blue(), (full.blue() + kBar.blue()) / 2.0, 2) << x << ',' << y;
      ++compared;
    }
  }
  EXPECT_GT(compared, 500);
}

TEST(StatusViewTest, ImageCanBeReadOnLightAndDarkBars) {
  for (const QColor bar : {QColor(Qt::white), QColor(Qt::black)}) {
    QImage image(24, 24, QImage::Format_ARGB32_Premultiplied);
    image.fill(bar);
    QPainter painter(&image);
    TemplateImage("MenuIcon", {24, 24}).draw(painter, QRectF(0, 0, 24, 24), 1, Tint::forUnknownBar());
    painter.end();
    int contrasting = 0;
    for (int y = 0; y < 24; ++y) {
      for (int x = 0; x < 24; ++x) {
        if (std::abs(image.pixelColor(x, y).lightness() - bar.lightness()) > 120) ++contrasting;
      }
    }
    EXPECT_GT(contrasting, 50) << bar.name().toStdString();
  }
}

TEST(TemplateImageTest, ResourcesHoldEveryImageUnderItsName) {
  for (const char* name :
       {"MenuIcon", "MenuIconBack", "plexadevice", "plexahost", "plexaswitch", "badge", "settings"}) {
    const TemplateImage image(name, {24, 24});
    ASSERT_TRUE(image.exists()) << name;
    const QImage drawn = image.rendered({24, 24}, {Qt::red, {}}).toImage();
    int opaque = 0;
    for (int y = 0; y < 24; ++y) {
      for (int x = 0; x < 24; ++x) {
        if (drawn.pixelColor(x, y).alpha() > 200) {
          ++opaque;
          ASSERT_EQ(drawn.pixelColor(x, y).rgb(), QColor(Qt::red).rgb()) << name;
        }
      }
    }
    EXPECT_GT(opaque, 30) << name;
  }
  EXPECT_FALSE(TemplateImage("unknown", {24, 24}).exists());
  EXPECT_TRUE(TemplateImage("unknown", {24, 24}).rendered({24, 24}, {Qt::red, {}}).isNull());
}

}  // namespace
}  // namespace vorn::ui
