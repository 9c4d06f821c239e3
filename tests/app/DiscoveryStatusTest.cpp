#include <gtest/gtest.h>

#include <chrono>

#include "app/DiscoveryStatus.h"

namespace vorn::app {
namespace {

using State = ResponderMonitor::State;
using ui::DiscoveryHint;
using namespace std::chrono_literals;

class DiscoveryStatusTest : public ::testing::Test {
 protected:
  DiscoveryStatus::Clock::time_point fNow{};
  bool fHasNetwork = true;
  DiscoveryStatus fStatus{{[this] { return fNow; }, [this] { return fHasNetwork; }}};
};

TEST_F(DiscoveryStatusTest, IsLookingUntilAWhileAfterDiscoveryBegan) {
  EXPECT_EQ(fStatus.hint(), DiscoveryHint::StillLooking);
  fNow += 5s;
  fStatus.setResponderState(State::kAnswering);
  fNow += DiscoveryStatus::kLooking - 1ms;
  EXPECT_EQ(fStatus.hint(), DiscoveryHint::StillLooking);
  fNow += 1ms;
  EXPECT_EQ(fStatus.hint(), DiscoveryHint::None);
}

TEST_F(DiscoveryStatusTest, LooksAgainWhenTheResponderComesBack) {
  fStatus.setResponderState(State::kAnswering);
  fNow += 1h;
  fStatus.setResponderState(State::kAbsent);
  fNow += 1h;
  fStatus.setResponderState(State::kAnswering);
  EXPECT_EQ(fStatus.hint(), DiscoveryHint::StillLooking);
}

TEST_F(DiscoveryStatusTest, SaysThatTheResponderIsMissingOrHangs) {
  fStatus.setResponderState(State::kAbsent);
  EXPECT_EQ(fStatus.hint(), DiscoveryHint::NoDiscoveryService);
  fStatus.setResponderState(State::kSilent);
  EXPECT_EQ(fStatus.hint(), DiscoveryHint::NoDiscoveryService);
}

TEST_F(DiscoveryStatusTest, SaysThatThereIsNoNetworkAsLongAsThatIsSo) {
  fStatus.setResponderState(State::kAnswering);
  fHasNetwork = false;
  EXPECT_EQ(fStatus.hint(), DiscoveryHint::NoNetwork);
  fHasNetwork = true;
  EXPECT_EQ(fStatus.hint(), DiscoveryHint::StillLooking);
}

TEST_F(DiscoveryStatusTest, AsksTheSystemByItself) {
  DiscoveryStatus status;
  status.setResponderState(State::kAnswering);
  EXPECT_NE(status.hint(), DiscoveryHint::NoDiscoveryService);
}

}  // namespace
}  // namespace vorn::app
