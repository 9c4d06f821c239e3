#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "ui/PanelPlacement.h"

namespace vorn::ui {
namespace {

const QRect kScreen(0, 0, 1920, 1080);
const PlacementScreen kTopBar{kScreen, QRect(0, 30, 1920, 1050)};
const PlacementScreen kBottomBar{kScreen, QRect(0, 0, 1920, 1050)};
const PlacementScreen kNoBarKnown{kScreen, kScreen};
const PlacementScreen kLeftBar{kScreen, QRect(48, 0, 1872, 1080)};
const PlacementScreen kRightScreenTopBar{QRect(1920, 0, 1280, 1024), QRect(1920, 24, 1280, 1000)};
const PlacementScreen kScreenAbove{QRect(0, -900, 1600, 900), QRect(0, -900, 1600, 860)};
const QSize kPanel(320, 400);

struct Case {
  std::string name;
  PlacementRequest request;
  QPoint expected;
  QSize panel = kPanel;
};

std::ostream& operator<<(std::ostream& stream, const Case& c) {
  return stream << c.name;
}

class PanelPlacementTest : public testing::TestWithParam<Case> {};

TEST_P(PanelPlacementTest, PutsThePanelThere) {
  const QPoint origin = panelPlace(GetParam().request).originOf(GetParam().panel);
  EXPECT_EQ(origin.x(), GetParam().expected.x());
  EXPECT_EQ(origin.y(), GetParam().expected.y());
}

const std::vector<Case> kCases{
    {"HangsUnderTheItem", {{1000, 4, 22, 22}, {}, {kTopBar}}, {1000, 30}},
    {"ShiftedLeftAtTheRightEdge", {{1890, 4, 22, 22}, {}, {kTopBar}}, {1600, 30}},
    {"ExactlyFitsAtTheRightEdge", {{1600, 4, 22, 22}, {}, {kTopBar}}, {1600, 30}},
    {"OnePixelTooFarRight", {{1601, 4, 22, 22}, {}, {kTopBar}}, {1600, 30}},
    {"AtTheLeftEdge", {{0, 4, 22, 22}, {}, {kTopBar}}, {0, 30}},
    {"StandsOnABottomBar", {{1000, 1054, 22, 22}, {}, {kBottomBar}}, {1000, 650}},
    {"BottomBarAtTheRightEdge", {{1890, 1054, 22, 22}, {}, {kBottomBar}}, {1600, 650}},
    {"ItemInsideAScreenWithoutKnownBarAtTheTop", {{1000, 4, 22, 22}, {}, {kNoBarKnown}}, {1000, 26}},
    {"ItemInsideAScreenWithoutKnownBarAtTheBottom", {{1000, 1054, 22, 22}, {}, {kNoBarKnown}}, {1000, 654}},
    {"TheItemCountsMoreThanThePress", {{500, 4, 22, 22}, QPoint(900, 10), {kTopBar}}, {500, 30}},
    {"PressServesWhereTheItemIsUnknown", {{}, QPoint(900, 10), {kTopBar}}, {900, 30}},
    {"PressNearTheRightEdge", {{}, QPoint(1900, 10), {kTopBar}}, {1600, 30}},
    {"PressOnABottomBar", {{}, QPoint(900, 1060), {kBottomBar}}, {900, 650}},
    {"PressWithoutKnownBarLow", {{}, QPoint(900, 1060), {kNoBarKnown}}, {900, 680}},
    {"ThePlaceHandedOverCountsMoreThanThePointer",
     {{}, QPoint(900, 10), {kTopBar}, QPoint(400, 12)},
     {400, 30}},
    {"ThePlaceHandedOverCountsWithThePointerElsewhere",
     {{}, QPoint(900, 600), {kTopBar}, QPoint(400, 12)},
     {400, 30}},
    {"ThePlaceHandedOverOnASecondScreen",
     {{}, QPoint(900, 600), {kTopBar, kRightScreenTopBar}, QPoint(2000, 5)},
     {2000, 24}},
    {"ThePlaceHandedOverOnABarThatHides", {{}, QPoint(900, 600), {kTopBar}, QPoint(400, 1050)}, {400, 680}},
    {"TheItemCountsMoreThanThePlaceHandedOver",
     {{500, 4, 22, 22}, QPoint(900, 10), {kTopBar}, QPoint(400, 12)},
     {500, 30}},
    {"NoPlaceInTheMiddleOfAScreen", {{}, QPoint(900, 10), {kTopBar}, QPoint(400, 500)}, {900, 30}},
    {"NoPlaceOnAnyScreen", {{}, QPoint(900, 10), {kTopBar}, QPoint(9000, 12)}, {900, 30}},
    {"NoPlaceInTheHostsOwnWindow", {{}, QPoint(900, 10), {kTopBar}, QPoint(0, 30)}, {900, 30}},
    {"NoPlaceAtTheOrigin", {{}, QPoint(900, 10), {kTopBar}, QPoint(0, 0)}, {900, 30}},
    {"NeitherPlaceNorPointerOnABar", {{}, QPoint(900, 600), {kTopBar}, QPoint(400, 500)}, {1600, 30}},
    {"NothingButNonsense", {{}, {}, {kBottomBar}, QPoint(-2147483647 - 1, 2147483647)}, {1600, 650}},
    {"PointerAnywhereWhereNothingIsHandedOver", {{}, QPoint(900, 500), {kTopBar}}, {900, 30}},
    {"NothingKnownTopBar", {{}, {}, {kTopBar}}, {1600, 30}},
    {"NothingKnownBottomBar", {{}, {}, {kBottomBar}}, {1600, 650}},
    {"NothingKnownNoBar", {{}, {}, {kNoBarKnown}}, {1600, 0}},
    {"SecondScreenHoldsTheItem", {{2500, 2, 20, 20}, {}, {kTopBar, kRightScreenTopBar}}, {2500, 24}},
    {"RightEdgeOfTheSecondScreen", {{3170, 2, 20, 20}, {}, {kTopBar, kRightScreenTopBar}}, {2880, 24}},
    {"RightEdgeOfTheFirstScreenDoesNotSpill",
     {{1890, 4, 22, 22}, {}, {kTopBar, kRightScreenTopBar}},
     {1600, 30}},
    {"ScreenAboveWithABottomBar", {{700, -30, 22, 22}, {}, {kTopBar, kScreenAbove}}, {700, -440}},
    {"PressOnTheSecondScreen", {{}, QPoint(2000, 5), {kTopBar, kRightScreenTopBar}}, {2000, 24}},
    {"NothingKnownTakesThePrimaryScreen", {{}, {}, {kRightScreenTopBar, kTopBar}}, {2880, 24}},
    {"ItemOutsideAllScreensTakesTheNearest",
     {{3300, 5, 20, 20}, {}, {kTopBar, kRightScreenTopBar}},
     {2880, 24}},
    {"ItemOnALeftBarPushesThePanelBesideIt", {{10, 20, 22, 22}, {}, {kLeftBar}}, {48, 0}},
    {"PanelWiderThanTheScreen", {{1000, 4, 22, 22}, {}, {kTopBar}}, {0, 30}, {3000, 400}},
    {"PanelHigherThanTheScreenOnABottomBar",
     {{1000, 1054, 22, 22}, {}, {kBottomBar}},
     {1000, 0},
     {320, 2000}},
    {"NoScreenAtAll", {{1000, 4, 22, 22}, {}, {}}, {0, 0}},
};

INSTANTIATE_TEST_SUITE_P(Table, PanelPlacementTest, testing::ValuesIn(kCases),
                         [](const auto& tested) { return tested.param.name; });

QRect Free(const QRect& screen, const std::vector<ReservedArea>& areas, qreal ratio = 1) {
  return withoutReservedAreas({screen, screen}, ratio, areas);
}

TEST(ReservedAreasTest, AreTakenOffTheEdgeTheyHangOn) {
  EXPECT_EQ(Free(kScreen, {{Qt::TopEdge, {0, 0, 1920, 30}}}), QRect(0, 30, 1920, 1050));
  EXPECT_EQ(Free(kScreen, {{Qt::BottomEdge, {0, 1050, 1920, 30}}}), QRect(0, 0, 1920, 1050));
  EXPECT_EQ(Free(kScreen, {{Qt::LeftEdge, {0, 0, 48, 1080}}}), QRect(48, 0, 1872, 1080));
  EXPECT_EQ(Free(kScreen, {{Qt::RightEdge, {1872, 0, 48, 1080}}}), QRect(0, 0, 1872, 1080));
  EXPECT_EQ(Free(kScreen, {{Qt::TopEdge, {600, 0, 20, 30}}}), QRect(0, 30, 1920, 1050))
      << "whatever their shape";
}

TEST(ReservedAreasTest, AddUpOnSeveralEdgesAndNotOnOne) {
  EXPECT_EQ(Free(kScreen, {{Qt::TopEdge, {0, 0, 1920, 30}}, {Qt::TopEdge, {0, 0, 1920, 20}}}),
            QRect(0, 30, 1920, 1050));
  EXPECT_EQ(Free(kScreen, {{Qt::TopEdge, {0, 0, 1920, 30}}, {Qt::LeftEdge, {0, 30, 48, 1050}}}),
            QRect(48, 30, 1872, 1050));
}

TEST(ReservedAreasTest, TheToolkitKnowsOfAreNotTakenOffTwice) {
  const QRect usable(0, 30, 1920, 1050);
  EXPECT_EQ(withoutReservedAreas({kScreen, usable}, 1, {{Qt::TopEdge, {0, 0, 1920, 30}}}), usable);
  EXPECT_EQ(withoutReservedAreas({kScreen, usable}, 1, {}), usable);
}

TEST(ReservedAreasTest, OfOtherScreensDoNotCount) {
  EXPECT_EQ(Free(kScreen, {{Qt::TopEdge, {1920, 0, 1280, 30}}}), kScreen);
  // A bar at the bottom of the upper of two screens reserves everything below it.
  const QRect lower(0, 1080, 1920, 1080);
  const ReservedArea foot{Qt::BottomEdge, {0, 1050, 1920, 1110}};
  EXPECT_EQ(Free(kScreen, {foot}), QRect(0, 0, 1920, 1050));
  EXPECT_EQ(Free(lower, {foot}), lower);
}

TEST(ReservedAreasTest, OfADockBetweenTwoScreensAreTakenOffItsOwn) {
  const QRect lower(1920, 0, 1280, 1024);
  const ReservedArea dockOnTheRight{Qt::LeftEdge, {0, 0, 1968, 1024}};
  EXPECT_EQ(Free(kScreen, {dockOnTheRight}), kScreen) << "shorter than the screen that it crosses";
  EXPECT_EQ(Free(lower, {dockOnTheRight}), QRect(1968, 0, 1232, 1024));
  const QRect left(0, 0, 1280, 1024);
  const QRect right(1280, 0, 1920, 1080);
  const ReservedArea dockOnTheLeft{Qt::RightEdge, {1232, 0, 1968, 1024}};
  EXPECT_EQ(Free(right, {dockOnTheLeft}), right);
  EXPECT_EQ(Free(left, {dockOnTheLeft}), QRect(0, 0, 1232, 1024));
}

TEST(ReservedAreasTest, OnAScaledScreenAreRoundedUp) {
  const QRect twice(0, 0, 960, 540);
  EXPECT_EQ(Free(twice, {{Qt::TopEdge, {0, 0, 1920, 60}}}, 2), QRect(0, 30, 960, 510));
  EXPECT_EQ(Free(twice, {{Qt::BottomEdge, {0, 1019, 1920, 61}}}, 2), QRect(0, 0, 960, 509));
  EXPECT_EQ(Free(QRect(1920, 0, 1280, 720), {{Qt::TopEdge, {1920, 0, 1920, 31}}}, 1.5),
            QRect(1920, 21, 1280, 699));
}

TEST(ReservedAreasTest, ThatLeaveNothingAreIgnored) {
  EXPECT_EQ(Free(kScreen, {{Qt::TopEdge, {0, 0, 1920, 700}}, {Qt::BottomEdge, {0, 600, 1920, 480}}}),
            QRect(0, 700, 1920, 380));
}

}  // namespace
}  // namespace vorn::ui
