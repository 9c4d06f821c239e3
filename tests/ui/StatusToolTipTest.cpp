#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QStringList>
#include <QTest>
#include <chrono>

#include "tests/ui/ScriptedOwner.h"
#include "ui/StatusToolTip.h"

namespace vorn::ui {
namespace {

using namespace std::chrono_literals;
using DeviceList::DiscoveryHint;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kDeadline = 10000;

class StatusToolTipTest : public testing::Test {
 protected:
  StatusToolTip made(StatusToolTip::Timing timing) {
    return {fOwner, [this] { return fHint; }, [this](const QString& words) { fShown += words; }, timing};
  }
  bool comesToSay(const QString& words) {
    return QTest::qWaitFor([&] { return fShown.last() == words; }, kDeadline);
  }

  ScriptedOwner fOwner;
  DiscoveryHint fHint = DiscoveryHint::kNone;
  QStringList fShown;
};

TEST_F(StatusToolTipTest, SaysAtOnceWhatIsListed) {
  fOwner.fList = kThree;
  const StatusToolTip toolTip = made({1h, 1h});
  EXPECT_THAT(fShown, ElementsAre("3 devices"));
}

TEST_F(StatusToolTipTest, FollowsTheList) {
  const StatusToolTip toolTip = made({1ms, 1h});
  EXPECT_THAT(fShown, ElementsAre("No Local Devices Found."));
  fOwner.publish({Device("a", {1, 0, 0, 0}, {2, 0, 0, 0})});
  EXPECT_TRUE(comesToSay("1 device, 1 update available"));
  fOwner.publish({});
  EXPECT_TRUE(comesToSay("No Local Devices Found."));
}

TEST_F(StatusToolTipTest, ChangesOnceForListsThatComeTogether) {
  const StatusToolTip toolTip = made({20ms, 1h});
  for (int count = 1; count <= 50; ++count) fOwner.publish(Devices(count));
  EXPECT_TRUE(comesToSay("50 devices"));
  EXPECT_THAT(fShown, ElementsAre("No Local Devices Found.", "50 devices"));
}

TEST_F(StatusToolTipTest, KeepsTheReasonCurrentWhileNothingIsListed) {
  fHint = DiscoveryHint::kResponderAbsent;
  const StatusToolTip toolTip = made({1ms, 1ms});
  EXPECT_THAT(fShown, ElementsAre("The discovery service (Avahi) is not running."));
  fHint = DiscoveryHint::kNoNetwork;
  EXPECT_TRUE(comesToSay("There is no network connection."));
}

TEST_F(StatusToolTipTest, IsNoListenerOnceItHasGone) {
  { const StatusToolTip toolTip = made({1ms, 1ms}); }
  EXPECT_THAT(fOwner.fListeners, IsEmpty());
}

}  // namespace
}  // namespace vorn::ui
