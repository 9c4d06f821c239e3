#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include "ui/StatusView.h"
#include "ui/TrayStatusItem.h"

namespace vorn::ui {
namespace {

using namespace std::chrono_literals;

class TrayStatusItemTest : public testing::Test {
 protected:
  // An activation by the host, and the rest of the work after it.
  void activate(QSystemTrayIcon::ActivationReason reason) {
    fItem.activated(reason);
    for (int turn = 0; turn < 3; ++turn) QCoreApplication::sendPostedEvents(&fItem);
  }

  TrayStatusItemTest() {
    fView.setTarget(&fTarget);
    fView.setAction([this] { ++fPresses; });
  }
  QImage iconImage() const { return fItem.icon().pixmap(QSize(24, 24)).toImage(); }
  static int opaqueness(const QImage& image) {
    int highest = 0;
    for (int y = 0; y < image.height(); ++y) {
      for (int x = 0; x < image.width(); ++x) highest = std::max(highest, image.pixelColor(x, y).alpha());
    }
    return highest;
  }

  Clock::time_point fNow{1h};
  PressPlace fPlace;
  TrayStatusItem fItem{{"vorn-test-symbolic", "vorn-test-inactive-symbolic"},
                       19,
                       [this] { return fNow; },
                       [this] { return fPlace; },
                       [](QObject* context, const std::function<void()>& then) {
                         const auto inNextTurn = [context](auto call) {
                           QMetaObject::invokeMethod(context, call, Qt::QueuedConnection);
                         };
                         inNextTurn([inNextTurn, then] { inNextTurn(then); });
                       }};
  StatusView fView{&fItem};
  QObject fTarget;
  int fPresses = 0;
};

TEST_F(TrayStatusItemTest, HasNoIconUntilAHostIsKnown) {
  EXPECT_EQ(fItem.geometry(), QRect());
}

TEST_F(TrayStatusItemTest, IsAsLongAsItIsTold) {
  const TrayStatusItem longer({}, 32);
  EXPECT_EQ(longer.length(), 32);
  EXPECT_EQ(fView.width(), 19);
}

/// What is true in both forms.
class TrayStatusItemFormsTest : public TrayStatusItemTest, public testing::WithParamInterface<TrayForm> {
 protected:
  TrayStatusItemFormsTest() { fItem.attach(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Both, TrayStatusItemFormsTest, testing::Values(TrayForm::Button, TrayForm::View));

TEST_P(TrayStatusItemFormsTest, SendAPressToTheAction) {
  EXPECT_EQ(fItem.hasButton(), GetParam() == TrayForm::Button);
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(fPresses, 1);
}

TEST_P(TrayStatusItemFormsTest, SendNothingWithoutATarget) {
  fView.setTarget(nullptr);
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(fPresses, 0);
}

TEST_P(TrayStatusItemFormsTest, KnowThePressOnlyWhileItIsHandled) {
  PressPlace seen;
  fView.setAction([&] { seen = fItem.press(); });
  fPlace = {QPoint(300, 5), QPoint(900, 10)};
  EXPECT_EQ(fItem.press(), PressPlace());
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(seen, fPlace);
  EXPECT_EQ(fItem.press(), PressPlace()) << "what is asked for later is not asked for by this press";
  fPlace = {};
  fNow += 1s;
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(seen, PressPlace());
}

TEST_F(TrayStatusItemTest, FormDoesNotChangeOnceAttached) {
  fItem.attach(TrayForm::View);
  fItem.attach(TrayForm::Button);
  EXPECT_FALSE(fItem.hasButton());
}

// Here a host's call takes two turns of the event loop to become an activation.
TEST_F(TrayStatusItemTest, WhatWaitsBehindASlowPressBelongsToIt) {
  fItem.attach(TrayForm::Button);
  const auto inNextTurn = [this](auto call) {
    QMetaObject::invokeMethod(&fItem, call, Qt::QueuedConnection);
  };
  fView.setAction([&] {
    ++fPresses;
    fNow += 1s;
    if (fPresses > 1) return;
    inNextTurn([&] { inNextTurn([this] { fItem.activated(QSystemTrayIcon::Trigger); }); });
  });
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(fPresses, 1);
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(fPresses, 2) << "a press that comes later is one of its own";
}

TEST_F(TrayStatusItemTest, ADoubleClickIsOnePressInEitherWriting) {
  fItem.attach(TrayForm::Button);
  activate(QSystemTrayIcon::Trigger);
  fNow += 100ms;
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(fPresses, 1);
  fNow += 1s;
  activate(QSystemTrayIcon::Trigger);
  fNow += 100ms;
  activate(QSystemTrayIcon::DoubleClick);
  EXPECT_EQ(fPresses, 2);
  fNow += 1s;
  activate(QSystemTrayIcon::DoubleClick);
  EXPECT_EQ(fPresses, 3);
}

TEST_F(TrayStatusItemTest, WhatWaitedWhileAPressWasActedUponBelongsToIt) {
  fItem.attach(TrayForm::Button);
  fView.setAction([this] {
    ++fPresses;
    fNow += 2s;
  });
  fItem.activated(QSystemTrayIcon::Trigger);
  activate(QSystemTrayIcon::Trigger);  // came in those two seconds
  EXPECT_EQ(fPresses, 1);
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(fPresses, 2);
}

TEST_F(TrayStatusItemTest, MenuAndMiddleClickAreNoPresses) {
  fItem.attach(TrayForm::Button);
  activate(QSystemTrayIcon::Context);
  activate(QSystemTrayIcon::MiddleClick);
  activate(QSystemTrayIcon::Unknown);
  EXPECT_EQ(fPresses, 0);
}

TEST_F(TrayStatusItemTest, TheClickThatTookTheFocusDoesNotReopen) {
  fItem.attach(TrayForm::Button);
  fItem.noteHiddenByDeactivation();
  fNow += 100ms;
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(fPresses, 0);
  fNow += 1s;
  activate(QSystemTrayIcon::Trigger);
  EXPECT_EQ(fPresses, 1);
}

TEST_F(TrayStatusItemTest, WhereAPressIsIsUnknownWithoutX11) {
  TrayStatusItem item({}, 19);
  StatusView view(&item);
  int presses = 0;
  view.setTarget(&fTarget);
  view.setAction([&] {
    ++presses;
    EXPECT_EQ(item.press(), PressPlace());
  });
  item.activated(QSystemTrayIcon::Trigger);
  EXPECT_EQ(presses, 1);
}

TEST_F(TrayStatusItemTest, ButtonIconIsDimmedWhileNothingIsListed) {
  fItem.attach(TrayForm::Button);
  EXPECT_NEAR(opaqueness(iconImage()), 128, 3);
  fView.setActive(true);
  EXPECT_EQ(opaqueness(iconImage()), 255);
}

TEST_F(TrayStatusItemTest, ViewIconIsWhatTheViewDraws) {
  fItem.attach(TrayForm::View);
  EXPECT_NEAR(opaqueness(iconImage()), 128, 3);
  fView.setActive(true);
  const QImage plain = iconImage();
  EXPECT_EQ(opaqueness(plain), 255);
  EXPECT_EQ(plain.pixelColor(12, 1).alpha(), 0);
  fView.setHighlight(true);
  EXPECT_EQ(iconImage().pixelColor(12, 1).alpha(), 255);
}

TEST_F(TrayStatusItemTest, ViewIconKeepsItsImageSharpInASmallTray) {
  fItem.attach(TrayForm::View);
  fView.setActive(true);
  const QImage large = fItem.icon().pixmap(QSize(22, 22)).toImage();
  const QImage small = fItem.icon().pixmap(QSize(18, 18)).toImage();
  EXPECT_EQ(small.copy(1, 3, 16, 12), large.copy(3, 5, 16, 12));
}

TEST_F(TrayStatusItemTest, NameTravelsOnlyWhenTheThemeHasIt) {
  fItem.attach(TrayForm::Button);
  EXPECT_EQ(fItem.icon().name(), "");

  const QTemporaryDir data;
  const QByteArray before = qgetenv("XDG_DATA_HOME");
  qputenv("XDG_DATA_HOME", data.path().toUtf8());
  const QString folder = data.path() + "/icons/hicolor/symbolic/apps/";
  ASSERT_TRUE(QDir().mkpath(folder));
  for (const char* name : {"vorn-test-symbolic.svg", "vorn-test-inactive-symbolic.svg"}) {
    ASSERT_TRUE(QFile(folder + name).open(QIODevice::WriteOnly));
  }
  EXPECT_EQ(fItem.icon().name(), "vorn-test-inactive-symbolic");
  fView.setActive(true);
  EXPECT_EQ(fItem.icon().name(), "vorn-test-symbolic");
  EXPECT_EQ(opaqueness(iconImage()), 255);
  if (before.isNull()) {
    qunsetenv("XDG_DATA_HOME");
  } else {
    qputenv("XDG_DATA_HOME", before);
  }
}

}  // namespace
}  // namespace vorn::ui
