#include <gtest/gtest.h>
#include <sched.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

#include "app/DiscoveryStatus.h"
#include "tests/support/Eventually.h"

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
  status.setResponderState(State::kAnswering);
  switch (status.hint()) {
    case DiscoveryHint::NoNetwork:
      return "no network";
    case DiscoveryHint::StillLooking:
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
  (void)testing::Eventually([] { return HintOfTheSystem() == "still looking"; });
  std::cerr << (isUp ? ", up: " : ", not configured: ") << HintOfTheSystem();
  std::_Exit(0);
}

TEST(DiscoveryStatusDeathTest, AsksTheSystemByItself) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(TellOfTheSystem(), ::testing::ExitedWithCode(0),
              "no network, down: no network, up: still looking");
}

}  // namespace
}  // namespace vorn::app
