#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ui/X11Desktop.h"

namespace vorn::ui {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Words = std::vector<std::uint32_t>;

constexpr std::uint32_t kHuge = 0xFFFFFFFFU;
const QSize kDesktop(1920, 1080);

TEST(StrutAreasTest, LieAlongTheirEdges) {
  EXPECT_THAT(strutAreas({48, 0, 0, 0, 100, 899, 0, 0, 0, 0, 0, 0}, kDesktop),
              ElementsAre(ReservedArea{Qt::LeftEdge, {0, 100, 48, 800}}));
  EXPECT_THAT(strutAreas({0, 60, 0, 0, 0, 0, 0, 1079, 0, 0, 0, 0}, kDesktop),
              ElementsAre(ReservedArea{Qt::RightEdge, {1860, 0, 60, 1080}}));
  EXPECT_THAT(strutAreas({0, 0, 30, 0, 0, 0, 0, 0, 960, 1919, 0, 0}, kDesktop),
              ElementsAre(ReservedArea{Qt::TopEdge, {960, 0, 960, 30}}));
  EXPECT_THAT(strutAreas({0, 0, 0, 28, 0, 0, 0, 0, 0, 0, 0, 1919}, kDesktop),
              ElementsAre(ReservedArea{Qt::BottomEdge, {0, 1052, 1920, 28}}));
}

TEST(StrutAreasTest, MayBeSeveralOfOneWindow) {
  EXPECT_THAT(strutAreas({10, 0, 0, 20, 0, 1079, 0, 0, 0, 0, 0, 1919}, kDesktop),
              ElementsAre(ReservedArea{Qt::LeftEdge, {0, 0, 10, 1080}},
                          ReservedArea{Qt::BottomEdge, {0, 1060, 1920, 20}}));
}

TEST(StrutAreasTest, NeedTwelveWordsAndIgnoreMore) {
  EXPECT_THAT(strutAreas({}, kDesktop), IsEmpty());
  EXPECT_THAT(strutAreas(Words(11, 50), kDesktop), IsEmpty());
  Words words{0, 0, 30, 0, 0, 0, 0, 0, 0, 1919, 0, 0};
  words.resize(16384, kHuge);
  EXPECT_THAT(strutAreas(words, kDesktop), ElementsAre(ReservedArea{Qt::TopEdge, {0, 0, 1920, 30}}));
}

TEST(StrutAreasTest, NeverReachBeyondTheDesktop) {
  const QRect whole(QPoint(0, 0), kDesktop);
  EXPECT_THAT(strutAreas({kHuge, kHuge, kHuge, kHuge, 0, kHuge, 0, kHuge, 0, kHuge, 0, kHuge}, kDesktop),
              ElementsAre(ReservedArea{Qt::LeftEdge, whole}, ReservedArea{Qt::RightEdge, whole},
                          ReservedArea{Qt::TopEdge, whole}, ReservedArea{Qt::BottomEdge, whole}));
  EXPECT_THAT(strutAreas(Words(12, kHuge), kDesktop), IsEmpty()) << "they begin beyond it";
  EXPECT_THAT(strutAreas({0, 0, 0x80000000U, 0, 0, 0, 0, 0, 1900, kHuge, 0, 0}, kDesktop),
              ElementsAre(ReservedArea{Qt::TopEdge, {1900, 0, 20, 1080}}));
}

TEST(StrutAreasTest, ThatEndBeforeTheyBeginAreNone) {
  EXPECT_THAT(strutAreas({0, 0, 30, 0, 0, 0, 0, 0, 800, 100, 0, 0}, kDesktop), IsEmpty());
  EXPECT_THAT(strutAreas({30, 30, 0, 0, 9, 2, 9, 2, 0, 0, 0, 0}, kDesktop), IsEmpty());
}

TEST(StrutAreasTest, AreNoneOnADesktopWithoutSize) {
  EXPECT_THAT(strutAreas({30, 30, 30, 30, 0, 9, 0, 9, 0, 9, 0, 9}, QSize()), IsEmpty());
}

}  // namespace
}  // namespace vorn::ui
