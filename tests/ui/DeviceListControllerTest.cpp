#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QHelpEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QWheelEvent>

#include "tests/ui/PanelFixture.h"
#include "ui/PanelPlacement.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DeviceListControllerTest : public PanelFixture {};

std::string UrlOf(const std::string& name) {
  return Device(name).url;
}

// --- rows and selection --------------------------------------------------

TEST_F(DeviceListControllerTest, EmptyListIsOneRowThatCannotBeSelectedOrOpened) {
  open({});
  EXPECT_EQ(table()->model()->rowCount(), 1);
  hover(0);
  click(0);
  click(0);
  key(Qt::Key_Return);
  key(Qt::Key_Down);
  key(Qt::Key_Return);
  EXPECT_EQ(selected(), -1);
  EXPECT_TRUE(isOpen());
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListControllerTest, GrowingFromEmptySelectsTheFirstRow) {
  open({});
  fOwner.publish(kThree);
  EXPECT_EQ(selected(), 0);
  fOwner.publish({});
  EXPECT_EQ(selected(), -1);
  fOwner.publish(kThree);
  EXPECT_EQ(selected(), 0);
}

TEST_F(DeviceListControllerTest, SelectionFollowsTheUrlThroughAReorder) {
  open(kThree);
  hover(1);
  fOwner.publish({kThree[2], kThree[0], kThree[1]});
  EXPECT_EQ(selected(), 2);
  fOwner.publish({Device("a0"), kThree[1], kThree[0]});
  EXPECT_EQ(selected(), 1);
}

TEST_F(DeviceListControllerTest, SelectionGoesToTheFirstRowWithTheUrl) {
  open(kThree);
  hover(1);
  DeviceList::ExtendedDeviceInfo twin = kThree[1];
  twin.name = std::string("another berta");
  fOwner.publish({kThree[0], twin, kThree[1], kThree[2]});
  EXPECT_EQ(selected(), 1);
}

TEST_F(DeviceListControllerTest, SelectionStaysWithItsRowWhenTheDeviceHasGone) {
  open(kThree);
  hover(1);
  fOwner.publish({kThree[0], kThree[2]});
  EXPECT_EQ(selected(), 1);
}

TEST_F(DeviceListControllerTest, SelectionIsDroppedWhenItsRowHasGone) {
  open(kThree);
  hover(2);
  fOwner.publish({kThree[0], kThree[1]});
  EXPECT_EQ(selected(), -1);
  key(Qt::Key_Return);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  key(Qt::Key_Down);
  EXPECT_EQ(selected(), 0);
}

TEST_F(DeviceListControllerTest, WithoutSelectionAListSelectsNothing) {
  open(kThree);
  table()->deselectAll();
  fOwner.publish({kThree[2], kThree[1]});
  EXPECT_EQ(selected(), -1);
}

// --- clicks --------------------------------------------------------------

TEST_F(DeviceListControllerTest, ClickOnTheSelectedRowOpensItsPageAndCloses) {
  open(kThree);
  hover(1);
  click(1);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("berta")));
  EXPECT_FALSE(isOpen());
}

TEST_F(DeviceListControllerTest, ClickOnAnotherRowOnlySelectsIt) {
  open(kThree);
  click(2);
  EXPECT_EQ(selected(), 2);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  EXPECT_TRUE(isOpen());
  click(2);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("clara")));
}

TEST_F(DeviceListControllerTest, DoubleClickOnAnotherRowOpensItOnce) {
  open(kThree);
  QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, middleOf(2));
  const QPoint place = middleOf(2);
  QTest::mouseDClick(table()->viewport(), Qt::LeftButton, {}, place);
  release(place);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("clara")));
}

TEST_F(DeviceListControllerTest, AClickOnARowThatIsSelectedNoMoreOpensNothing) {
  open(kThree);
  press(0);
  key(Qt::Key_Down);
  release(middleOf(0));
  ASSERT_TRUE(isOpen());
  EXPECT_EQ(selected(), 1);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListControllerTest, PressIsTakenBackByLettingGoElsewhere) {
  open(kThree);
  press(0);
  release(middleOf(1));
  press(0);
  release(QPoint(-20, -20));
  press(0);
  release(QPoint(middleOf(2).x(), middleOf(2).y() + 60));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  EXPECT_TRUE(isOpen());
}

TEST_F(DeviceListControllerTest, ClickBesideTheRowsDoesNothing) {
  open(kThree);
  QTest::mouseClick(table()->viewport(), Qt::LeftButton, {}, QPoint(50, middleOf(2).y() + 60));
  EXPECT_EQ(selected(), 0);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListControllerTest, OtherButtonsOpenNothing) {
  open(kThree);
  QTest::mouseClick(table()->viewport(), Qt::RightButton, {}, middleOf(0));
  QTest::mouseClick(table()->viewport(), Qt::MiddleButton, {}, middleOf(0));
  EXPECT_EQ(selected(), 0);
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListControllerTest, AListBetweenPressAndReleaseOpensNoOtherDevice) {
  open(kThree);
  hover(0);
  press(0);
  fOwner.publish({Device("aaron"), kThree[0], kThree[1], kThree[2]});  // anna moves down by one
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  EXPECT_TRUE(isOpen());
}

TEST_F(DeviceListControllerTest, ADeviceThatGoesBetweenPressAndReleaseOpensNothing) {
  open(kThree);
  press(0);
  fOwner.publish({kThree[1], kThree[2]});
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
  fOwner.publish({});
  press(0);
  fOwner.publish(kThree);
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListControllerTest, AnotherDeviceInTheSameRowIsNotOpened) {
  open(kThree);
  press(0);
  fOwner.publish({Device("anna2"), kThree[1], kThree[2]});
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListControllerTest, AnUnrelatedListBetweenPressAndReleaseDoesNotSwallowTheClick) {
  open(kThree);
  press(0);
  fOwner.publish({kThree[0], kThree[1], kThree[2], Device("dora")});
  release(middleOf(0));
  EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("anna")));
}

TEST_F(DeviceListControllerTest, SelectedRowCarriesTheHighlightAndThePressedOneMore) {
  open(kThree);
  const QColor base = table()->palette().color(QPalette::Base);
  const auto over = [&](double alpha) {
    const auto mix = [&](int from, int to) {
      return static_cast<int>(from * (1 - alpha) + to * alpha + 0.5);
    };
    return QColor(mix(base.red(), 0), mix(base.green(), 161), mix(base.blue(), 240));
  };
  const auto expectNear = [](const QColor& a, const QColor& b) {
    EXPECT_NEAR(a.red(), b.red(), 2);
    EXPECT_NEAR(a.green(), b.green(), 2);
    EXPECT_NEAR(a.blue(), b.blue(), 2);
  };
  expectNear(backgroundOf(0), over(0.15));
  expectNear(backgroundOf(1), base);
  press(0);
  expectNear(backgroundOf(0), over(0.3));
  release(QPoint(-5, -5));
  expectNear(backgroundOf(0), over(0.15));
  press(1);
  expectNear(backgroundOf(1), over(0.3));
  release(middleOf(1));  // which only selects it
  expectNear(backgroundOf(1), over(0.15));
}

// --- opening -------------------------------------------------------------

TEST_F(DeviceListControllerTest, AnInvalidRowNeitherOpensNorHides) {
  open(kThree);
  for (const int row : {-1, 3, 1000000}) fOwner.panelController()->openIndex(row);
  EXPECT_TRUE(isOpen());
  EXPECT_THAT(fOwner.fOpened, IsEmpty());
}

TEST_F(DeviceListControllerTest, OpensTheBareUrlByteForByte) {
  DeviceList::ExtendedDeviceInfo odd = Device("odd");
  odd.url = "http://odd.local:80/\xC3\xBC?a=b&c=%20/";
  open({odd});
  key(Qt::Key_Return);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(odd.url));
}

// --- hints ----------------------------------------------------------------

TEST_F(DeviceListControllerTest, SaysBelowTheListWhyItMayBeEmpty) {
  open({});
  EXPECT_EQ(hint(), "");
  fOwner.fController->setHint({DeviceList::DiscoveryHint::kStillLooking});
  EXPECT_TRUE(hint().startsWith("Still looking"));
  fOwner.publish(kThree);
  EXPECT_EQ(hint(), "");
  fOwner.fController->setHint({DeviceList::DiscoveryHint::kResponderAbsent});
  EXPECT_EQ(hint(), "The discovery service (Avahi) is not running.");
  fOwner.fController->setHint({DeviceList::DiscoveryHint::kResponderSilent});
  EXPECT_EQ(hint(), "The discovery service (Avahi) does not answer.");
  fOwner.fController->setHint({DeviceList::DiscoveryHint::kNoNetwork});
  EXPECT_EQ(hint(), "There is no network connection.");
  EXPECT_EQ(table()->model()->rowCount(), 3);
  fOwner.fController->setHint({DeviceList::DiscoveryHint::kNoNetwork, true});
  EXPECT_EQ(hint(), "The page could not be opened in a browser.");
  fOwner.fController->setHint({});
  EXPECT_EQ(hint(), "");
}

// --- the first run --------------------------------------------------------

class FirstRunWordsTest : public PanelFixture {
 protected:
  void openForTheFirstTime(const List& list) {
    fOwner.fFirstRunWords = true;
    open(list);
  }
  QString words() const { return firstRunHintWords(); }
};

TEST_F(FirstRunWordsTest, AreShownUntilTheFirstClick) {
  openForTheFirstTime(kThree);
  EXPECT_EQ(hint(), words());
  const int height = fPanel->height();
  click(2);  // which only selects
  settle();
  EXPECT_EQ(hint(), "");
  EXPECT_LT(fPanel->height(), height);
  EXPECT_FALSE(fOwner.fFirstRunWords);
}

TEST_F(FirstRunWordsTest, DoNotSwallowTheFirstClick) {
  fOwner.fPlace = PanelPlace{QRect(0, 0, 600, 600), true, 0};  // where the rows move when the words go
  openForTheFirstTime(kThree);
  hover(1);
  click(1);
  EXPECT_THAT(fOwner.fOpened, ElementsAre(UrlOf("berta")));
  EXPECT_FALSE(fOwner.fFirstRunWords);
}

TEST_F(FirstRunWordsTest, ReturnCountsAsAClick) {
  openForTheFirstTime(kThree);
  key(Qt::Key_Return);
  EXPECT_FALSE(fOwner.fFirstRunWords);
}

TEST_F(FirstRunWordsTest, EscapeDoesNot) {
  openForTheFirstTime(kThree);
  key(Qt::Key_Escape);
  EXPECT_TRUE(fOwner.fFirstRunWords);
}

TEST_F(FirstRunWordsTest, AreBelowWhatMattersMore) {
  openForTheFirstTime({});
  fOwner.fController->setHint({DeviceList::DiscoveryHint::kNoNetwork});
  EXPECT_EQ(hint(), "There is no network connection.\n" + words());
}

TEST_F(FirstRunWordsTest, AreNotShownLater) {
  open(kThree);
  EXPECT_EQ(hint(), "");
}

// --- the settings menu ---------------------------------------------------

TEST_F(DeviceListControllerTest, SettingsMenuPopsUpBelowTheMiddleOfTheButton) {
  open(kThree);
  fPanel->move(40, 40);  // the menu has room on its right there
  auto* button = fPanel->findChild<QToolButton*>("settings");
  QTest::mouseClick(button, Qt::LeftButton);
  const QMenu* menu = fOwner.panelController()->settingsMenu();
  ASSERT_TRUE(menu->isVisible());
  EXPECT_EQ(menu->pos(), button->mapToGlobal(QPoint(button->width() / 2, button->height())));
  fOwner.panelController()->settingsMenu()->close();
}

TEST_F(DeviceListControllerTest, SettingsMenuWithoutSenderPopsUpAtTheOrigin) {
  open(kThree);
  fOwner.panelController()->launchMenuFor(nullptr);
  // The toolkit keeps a menu a few points off the edge of the screen.
  EXPECT_LE(fOwner.panelController()->settingsMenu()->pos().manhattanLength(), 8);
  fOwner.panelController()->settingsMenu()->close();
}

}  // namespace
}  // namespace vorn::ui
