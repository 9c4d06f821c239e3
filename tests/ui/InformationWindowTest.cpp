#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QPointer>
#include <QScreen>
#include <QTest>
#include <QTextDocument>
#include <vector>

#include "ui/InformationWindow.h"

namespace vorn::ui {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class InformationWindowTest : public testing::Test {
 protected:
  void TearDown() override {
    for (InformationWindow* window : windows()) window->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_THAT(windows(), IsEmpty()) << "a closed window is deleted";
  }

  static std::vector<InformationWindow*> windows() {
    std::vector<InformationWindow*> found;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
      if (auto* window = qobject_cast<InformationWindow*>(widget)) found.push_back(window);
    }
    return found;
  }
  static QString words() {
    QTextDocument document;
    document.setHtml(windows().at(0)->findChild<QLabel*>()->text());
    return document.toPlainText();
  }
};

TEST_F(InformationWindowTest, SaysWhichProgramThisIsAndWhomItAsks) {
  InformationWindow::showAbout("http://updates.vorn.example/api/");
  ASSERT_THAT(windows(), SizeIs(1));
  EXPECT_EQ(windows()[0]->windowTitle(), "About Vorn Device Finder");
  EXPECT_TRUE(windows()[0]->isVisible());
  EXPECT_TRUE(words().contains("Version 1.2.3, build 4")) << words().toStdString();
  EXPECT_TRUE(words().contains("It asks for new firmware at http://updates.vorn.example/api/"));
  EXPECT_TRUE(words().contains(qVersion()));
}

TEST_F(InformationWindowTest, SaysThatItAsksNobody) {
  InformationWindow::showAbout({});
  EXPECT_TRUE(words().contains("It does not ask for new firmware."));
}

TEST_F(InformationWindowTest, SaysWhatIsTrueNowAlsoInAWindowThatIsOpen) {
  InformationWindow::showAbout("http://updates.vorn.example/api/");
  InformationWindow::showAbout({});
  ASSERT_THAT(windows(), SizeIs(1));
  EXPECT_TRUE(words().contains("It does not ask for new firmware."));
}

TEST_F(InformationWindowTest, LeavesTheScreenVisibleWhateverItSays) {
  InformationWindow::showAbout("http://" + QString(3000, u'x') + "/api/");
  const QSize free = windows().at(0)->screen()->availableSize();
  EXPECT_LE(windows()[0]->width(), free.width());
  EXPECT_LE(windows()[0]->height(), free.height());
}

TEST_F(InformationWindowTest, ShowsAnAddressLiterally) {
  InformationWindow::showAbout("http://a<b>&amp;/api/");
  EXPECT_TRUE(words().contains("http://a<b>&amp;/api/")) << words().toStdString();
}

TEST_F(InformationWindowTest, ListsTheKeysOfThePanel) {
  InformationWindow::showKeyboardShortcuts();
  ASSERT_THAT(windows(), SizeIs(1));
  for (const char* key : {"Return", "Escape", "Shift+F10", "Tab", "Home"}) EXPECT_TRUE(words().contains(key));
}

TEST_F(InformationWindowTest, IsThereOnceForEachTitle) {
  InformationWindow::showAbout({});
  InformationWindow::showAbout({});
  EXPECT_THAT(windows(), SizeIs(1));
  InformationWindow::showKeyboardShortcuts();
  EXPECT_THAT(windows(), SizeIs(2));
}

TEST_F(InformationWindowTest, EscapeClosesIt) {
  InformationWindow::showAbout({});
  const QPointer<InformationWindow> window(windows().at(0));
  QTest::keyClick(window.data(), Qt::Key_Escape);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  EXPECT_TRUE(window.isNull());
}

}  // namespace
}  // namespace vorn::ui
