#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QCursor>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

#include "tests/ui/ScriptedOwner.h"
#include "ui/DeviceRowDelegate.h"
#include "ui/ReturnIsDoubleClickTableView.h"
#include "ui/SettingsMenu.h"

namespace vorn::ui {

/// A visible panel with a list, driven by real mouse and key events.
class PanelFixture : public testing::Test {
 protected:
  static constexpr int kDeadline = 10000;

  void open(const List& list) {
    QCursor::setPos(QPoint(700, 550));  // away from the panel, so that every hover is a move
    settle();
    fOwner.fList = list;
    fOwner.setPanelVisible(true);
    fPanel = fOwner.fController->panel();
    ASSERT_TRUE(QTest::qWaitForWindowActive(fPanel, kDeadline));
    settle();
  }

  // Handles everything that is posted, including the delayed layout of rows.
  static void settle() {
    for (int i = 0; i < 3; ++i) QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

  void TearDown() override {
    fOwner.setPanelVisible(false);
    settle();
    EXPECT_TRUE(fPanel.isNull()) << "a hidden panel is destroyed";
  }

  ReturnIsDoubleClickTableView* table() const { return fOwner.table(); }
  bool isOpen() const { return fOwner.fController != nullptr; }
  int selected() const { return table()->selectedRow(); }
  QPoint middleOf(int row) const { return table()->visualRect(table()->model()->index(row, 0)).center(); }
  void hover(int row) const { QTest::mouseMove(table()->viewport(), middleOf(row)); }
  void press(int row) const { QTest::mousePress(table()->viewport(), Qt::LeftButton, {}, middleOf(row)); }
  void release(QPoint place) const { QTest::mouseRelease(table()->viewport(), Qt::LeftButton, {}, place); }
  void click(int row) const { QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, middleOf(row)); }
  void key(Qt::Key which) const { QTest::keyClick(QApplication::focusWidget(), which); }
  QColor backgroundOf(int row) const {
    const QRect rect = table()->visualRect(table()->model()->index(row, 0));
    return table()->viewport()->grab().toImage().pixelColor(rect.left() + 3, rect.top() + 3);
  }
  QString hint() const { return fPanel->findChild<QLabel*>("hint")->text(); }

  ScriptedOwner fOwner;
  QPointer<ClickablePanel> fPanel;
};

}  // namespace vorn::ui
