#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "devicelist/Datastore.h"
#include "devicelist/SwitchPoller.h"
#include "tests/devicelist/PollerState.h"
#include "tests/support/Eventually.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::Becomes;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using testing::Shown;
using testing::StateOf;
using vorn::testing::Eventually;
using vorn::testing::Exchange;
using vorn::testing::LoopbackServer;
using vorn::testing::StopsServer;
using vorn::testing::Yield;

using Text = vorn::optional<std::string>;

constexpr auto kQuick = 5ms;
constexpr auto kOnce = 1h;

class SwitchPollerTest : public ::testing::Test {
 protected:
  [[nodiscard]] Entry MakeEntry() const { return Entry{Text("Switch 1"), kTypeSwitch, fUnit.Url("/"), "u1"}; }

  LoopbackServer fUnit;
};

TEST_F(SwitchPollerTest, HasItsModelFromTheBeginningAndIsHiddenUntilItAnswers) {
  fUnit.Handle("/firmware_version", [](Exchange& exchange) { exchange.Hang(); });
  const SwitchPoller poller(MakeEntry(), nullptr, kOnce);
  EXPECT_EQ(Shown(poller.GetModelID()), "avbswitch");
  EXPECT_FALSE(poller.GetName());
  EXPECT_FALSE(poller.GetFirmwareVersion());
  EXPECT_EQ(poller.GetEntry(), MakeEntry());
}

TEST_F(SwitchPollerTest, ShowsTheWholeBodyAsItStands) {
  fUnit.Reply("/firmware_version", 200, " 1.0.2\r\n");
  const SwitchPoller poller(MakeEntry(), nullptr, kOnce);
  EXPECT_TRUE(Becomes(poller, "Switch 1 avbswitch  1.0.2\r\n"));
}

TEST_F(SwitchPollerTest, CutsAFirmwareVersionBeyondTheBound) {
  fUnit.Reply("/firmware_version", 200, std::string(1'000'000, '\xff'));
  const SwitchPoller poller(MakeEntry(), nullptr, kOnce);
  EXPECT_TRUE(Becomes(poller, "Switch 1 avbswitch " + std::string(kMaxValueBytes, '\xff')));
}

TEST_F(SwitchPollerTest, AsksUnconditionallyOverOneConnection) {
  fUnit.Reply("/firmware_version", 200, "1.0.2", {"ETag: t"});
  const SwitchPoller poller(MakeEntry(), nullptr, kQuick);
  ASSERT_TRUE(fUnit.WaitForRequests(5));
  for (const auto& request : fUnit.Requests()) {
    EXPECT_EQ(request.target, "/firmware_version");
    EXPECT_THAT(request.ValuesOf("If-None-Match"), IsEmpty());
  }
  EXPECT_EQ(fUnit.ConnectionCount(), 1);
}

TEST_F(SwitchPollerTest, FollowsEachAnswer) {
  std::atomic<int> status{200};
  const StopsServer stops(fUnit);
  fUnit.Handle("/firmware_version", [&](Exchange& exchange) {
    if (status == 0) return exchange.Close();
    exchange.Reply(status, "1.0.2");
  });
  const SwitchPoller poller(MakeEntry(), nullptr, kQuick);
  EXPECT_TRUE(Becomes(poller, "Switch 1 avbswitch 1.0.2"));
  status = 404;
  EXPECT_TRUE(Becomes(poller, "Switch 1 avbswitch (none)"));
  status = 0;
  EXPECT_TRUE(Becomes(poller, "(none) avbswitch (none)"));
  status = 500;
  EXPECT_TRUE(Becomes(poller, "Switch 1 avbswitch (none)"));
  status = 200;
  EXPECT_TRUE(Becomes(poller, "Switch 1 avbswitch 1.0.2"));
}

TEST_F(SwitchPollerTest, CallsBackTwiceAPollWhateverTheAnswer) {
  for (const int status : {200, 404, 0}) {
    LoopbackServer unit;
    std::atomic<bool> go{false};
    std::atomic<int> calls{0};
    std::atomic<int> polls{0};
    const StopsServer stops(unit);
    unit.Handle("/firmware_version", [&](Exchange& exchange) {
      while (!go && exchange.Pause(1ms)) {
      }
      if (++polls > 5) return exchange.Hang();
      // Without an answer: on new connections, so that nothing is tried again.
      status == 0 ? exchange.Close() : exchange.Reply(status, "1.0.2");
    });
    SwitchPoller poller(Entry{Text("Switch 1"), kTypeSwitch, unit.Url("/"), "u1"}, nullptr, kQuick);
    poller.OnNameOrFirmwareChanged([&] { ++calls; });
    go = true;
    ASSERT_TRUE(unit.WaitForRequests(6)) << status;
    EXPECT_EQ(calls, 5 * 2) << status;
    poller.OnNameOrFirmwareChanged({});
  }
}

TEST_F(SwitchPollerTest, CallsBackForTheNameThenForTheFirmware) {
  std::atomic<bool> go{false};
  std::atomic<int> polls{0};
  const StopsServer stops(fUnit);
  fUnit.Handle("/firmware_version", [&](Exchange& exchange) {
    while (!go && exchange.Pause(1ms)) {
    }
    switch (++polls) {
      case 1:
        return exchange.Reply(200, "1.0.2");
      case 2:
        exchange.Send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n1.0");
        return exchange.Close();
      case 3:
        return exchange.Reply(404);
      default:
        exchange.Hang();
    }
  });
  std::mutex mutex;
  std::vector<std::string> states;
  SwitchPoller poller(MakeEntry(), nullptr, kQuick);
  poller.OnNameOrFirmwareChanged([&] {
    const std::lock_guard lock(mutex);
    states.push_back(StateOf(poller));
  });
  go = true;
  ASSERT_TRUE(fUnit.WaitForRequests(4));
  poller.OnNameOrFirmwareChanged({});
  const std::lock_guard lock(mutex);
  EXPECT_THAT(states, ElementsAre("Switch 1 avbswitch (none)", "Switch 1 avbswitch 1.0.2",
                                  "(none) avbswitch 1.0.2", "(none) avbswitch (none)",
                                  "Switch 1 avbswitch (none)", "Switch 1 avbswitch (none)"));
}

TEST_F(SwitchPollerTest, IsHiddenWithItsModelWhereNobodyListens) {
  const Entry entry{Text("Switch 1"), kTypeSwitch,
                    "http://127.0.0.1:" + std::to_string(vorn::testing::UnusedPort()) + "/", "u1"};
  std::atomic<int> calls{0};
  SwitchPoller poller(entry, nullptr, kQuick);
  poller.OnNameOrFirmwareChanged([&] { ++calls; });
  ASSERT_TRUE(Eventually([&] { return calls >= 4; }));
  EXPECT_TRUE(Becomes(poller, "(none) avbswitch (none)"));
}

TEST_F(SwitchPollerTest, GoesAtOnceWhileTheUnitHangs) {
  fUnit.Handle("/firmware_version", [](Exchange& exchange) { exchange.Hang(); });
  std::atomic<int> calls{0};
  auto poller = std::make_unique<SwitchPoller>(MakeEntry(), nullptr, kOnce);
  poller->OnNameOrFirmwareChanged([&] { ++calls; });
  ASSERT_TRUE(fUnit.WaitForRequests(1));
  const auto begin = std::chrono::steady_clock::now();
  poller.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
  EXPECT_EQ(calls, 2);
}

TEST_F(SwitchPollerTest, MayGoAtAnyMoment) {
  fUnit.Reply("/firmware_version", 200, "1.0.2");
  for (int round = 0; round < 150; ++round) {
    const auto before = fUnit.RequestCount();
    const SwitchPoller poller(MakeEntry(), nullptr, 0ms);
    ASSERT_TRUE(fUnit.WaitForRequests(before + static_cast<std::size_t>(round % 4)));
    Yield(round);
  }
}

}  // namespace
}  // namespace DeviceList
