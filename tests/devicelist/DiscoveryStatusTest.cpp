#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include "devicelist/DiscoveryStatus.h"
#include "tests/support/Eventually.h"

namespace DeviceList {
namespace {

using State = vorn::ResponderMonitor::State;
using namespace std::chrono_literals;

class DiscoveryStatusTest : public ::testing::Test {
 protected:
  vorn::Clock::time_point fNow{};
  bool fHasNetwork = true;
  DiscoveryStatus fStatus{{[this] { return fNow; }, [this] { return fHasNetwork; }}};
};

TEST_F(DiscoveryStatusTest, IsLookingUntilAWhileAfterDiscoveryBegan) {
  EXPECT_EQ(fStatus.Hint(), DiscoveryHint::kStillLooking);
  fNow += 5s;
  fStatus.SetResponderState(State::kAnswering);
  fNow += DiscoveryStatus::kLooking - 1ms;
  EXPECT_EQ(fStatus.Hint(), DiscoveryHint::kStillLooking);
  fNow += 1ms;
  EXPECT_EQ(fStatus.Hint(), DiscoveryHint::kNone);
}

TEST_F(DiscoveryStatusTest, LooksAgainWhenTheResponderComesBack) {
  fStatus.SetResponderState(State::kAnswering);
  fNow += 1h;
  fStatus.SetResponderState(State::kAbsent);
  fNow += 1h;
  fStatus.SetResponderState(State::kAnswering);
  EXPECT_EQ(fStatus.Hint(), DiscoveryHint::kStillLooking);
}

TEST_F(DiscoveryStatusTest, TellsAMissingResponderFromOneThatHangs) {
  fHasNetwork = false;
  fStatus.SetResponderState(State::kAbsent);
  EXPECT_EQ(fStatus.Hint(), DiscoveryHint::kResponderAbsent);
  fStatus.SetResponderState(State::kSilent);
  EXPECT_EQ(fStatus.Hint(), DiscoveryHint::kResponderSilent);
}

TEST_F(DiscoveryStatusTest, AResponderThatHasNotAnsweredInTheEndIsSilent) {
  EXPECT_EQ(fStatus.FinalHint(), DiscoveryHint::kResponderSilent);
  fStatus.SetResponderState(State::kAbsent);
  EXPECT_EQ(fStatus.FinalHint(), DiscoveryHint::kResponderAbsent);
  fStatus.SetResponderState(State::kAnswering);
  EXPECT_EQ(fStatus.FinalHint(), DiscoveryHint::kStillLooking);
}

TEST_F(DiscoveryStatusTest, SaysThatThereIsNoNetworkAsLongAsThatIsSo) {
  fStatus.SetResponderState(State::kAnswering);
  fHasNetwork = false;
  EXPECT_EQ(fStatus.Hint(), DiscoveryHint::kNoNetwork);
  fHasNetwork = true;
  EXPECT_EQ(fStatus.Hint(), DiscoveryHint::kStillLooking);
}

bool Write(const char* path, const std::string& text) {
  std::ofstream file(path);
  file << text << std::flush;
  return file.good();
}

/// Puts this process into a network namespace of its own. Needs root or user namespaces.
bool EnterOwnNetwork() {
  const auto user = std::to_string(::getuid());
  if (::unshare(CLONE_NEWNET) == 0) return true;
  return ::unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0 && Write("/proc/self/uid_map", "0 " + user + " 1");
}

bool Configure(const std::string& arguments) {
  return std::system(("ip " + arguments).c_str()) == 0;
}

std::string HintOfTheSystem() {
  DiscoveryStatus status;
  status.SetResponderState(State::kAnswering);
  switch (status.Hint()) {
    case DiscoveryHint::kNoNetwork:
      return "no network";
    case DiscoveryHint::kStillLooking:
      return "still looking";
    default:
      return "something else";
  }
}

[[noreturn]] void TellOfTheSystem() {
  if (!EnterOwnNetwork()) {
    std::cerr << "neither root nor unprivileged user namespaces";
    std::_Exit(1);
  }
  std::cerr << HintOfTheSystem();
  const bool done = Configure("link set lo up") && Configure("link add one type veth peer name two") &&
                    Configure("link set two up") && Configure("address add 192.0.2.1/24 dev one");
  std::cerr << (done ? ", down: " : ", not configured: ") << HintOfTheSystem();
  const bool isUp = Configure("link set one up");
  // The kernel calls an interface running a little later than it is up.
  (void)vorn::testing::Eventually([] { return HintOfTheSystem() == "still looking"; });
  std::cerr << (isUp ? ", up: " : ", not configured: ") << HintOfTheSystem();
  std::_Exit(0);
}

TEST(DiscoveryStatusDeathTest, AsksTheSystemByItself) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(TellOfTheSystem(), ::testing::ExitedWithCode(0),
              "no network, down: no network, up: still looking");
}

}  // namespace
}  // namespace DeviceList
