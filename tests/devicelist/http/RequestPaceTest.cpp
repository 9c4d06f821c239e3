#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "devicelist/http/HTTPPoller.h"
#include "devicelist/http/RequestPace.h"
#include "tests/support/Eventually.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using vorn::testing::Eventually;
using vorn::testing::Exchange;
using vorn::testing::LoopbackServer;
using vorn::testing::StopsServer;
using Duration = vorn::Clock::duration;

constexpr char kHere[] = "192.168.1.20";
constexpr char kThere[] = "192.168.1.21";

// The pace on a clock that the test moves.
class RequestPaceTest : public ::testing::Test {
 protected:
  // The times of this many requests of clients that all wait from the start and ask whenever they are told
  // to.
  std::vector<Duration> TimesOf(int count, const std::string& address) {
    std::deque<RequestPace::Turn> turns;
    std::vector<bool> taken(static_cast<std::size_t>(count), false);
    for (int i = 0; i < count; ++i) turns.emplace_back(fPace, address);
    std::vector<Duration> times;
    while (times.size() < turns.size()) {
      Duration next = Duration::max();
      for (std::size_t i = 0; i < turns.size(); ++i) {
        if (taken[i]) continue;
        const Duration wait = turns[i].Take();
        if (wait > Duration::zero()) {
          next = std::min(next, wait);
          continue;
        }
        taken[i] = true;
        times.push_back(fTime.time_since_epoch());
      }
      if (times.size() < turns.size()) fTime += next;
    }
    return times;
  }

  bool IsFree(const std::string& address) { return RequestPace::Turn(fPace, address).Take() == 0s; }

  vorn::Clock::time_point fTime{1h};
  RequestPace fPace{[this] { return fTime; }};
};

TEST_F(RequestPaceTest, LetsNoMoreThanTheBoundThroughInAnySecond) {
  auto times = TimesOf(200, kHere);
  fTime += 100ms;
  for (const Duration time : TimesOf(200, kHere)) times.push_back(time);
  for (std::size_t i = 0; i + RequestPace::kMaxRequestsASecond < times.size(); ++i)
    EXPECT_GE(times[i + RequestPace::kMaxRequestsASecond] - times[i], 1s) << i;
}

TEST_F(RequestPaceTest, SpreadsEvenlyWhatFollowsABurst) {
  const auto times = TimesOf(100, kHere);
  EXPECT_EQ(std::count(times.begin(), times.end(), times.front()), RequestPace::kBurst);
  const Duration distance = Duration(1s) / (RequestPace::kMaxRequestsASecond - RequestPace::kBurst);
  for (std::size_t i = RequestPace::kBurst; i < times.size(); ++i)
    EXPECT_EQ(times[i] - times[i - 1], distance);
}

TEST_F(RequestPaceTest, ServesWhoeverCameFirst) {
  while (IsFree(kHere)) {
  }
  RequestPace::Turn first(fPace, kHere);
  RequestPace::Turn second(fPace, kHere);
  const Duration wait = first.Take();
  fTime += wait;
  EXPECT_GT(second.Take(), 0s);
  EXPECT_EQ(first.Take(), 0s);
  fTime += wait;
  EXPECT_EQ(second.Take(), 0s);
}

TEST_F(RequestPaceTest, TurnThatIsGivenUpLeavesItsMomentToTheNext) {
  while (IsFree(kHere)) {
  }
  auto first = std::make_optional<RequestPace::Turn>(fPace, kHere);
  RequestPace::Turn second(fPace, kHere);
  const Duration wait = first->Take();
  first.reset();
  EXPECT_EQ(second.Take(), wait);
}

TEST_F(RequestPaceTest, TurnsThatAreGivenUpAndTakenAnewDelayNobody) {
  while (IsFree(kHere)) {
  }
  for (int i = 0; i < 1000; ++i) {
    const RequestPace::Turn restless(fPace, kHere);
  }
  RequestPace::Turn patient(fPace, kHere);
  const Duration wait = patient.Take();
  EXPECT_LE(wait, 1s);
  for (int i = 0; i < 1000; ++i) {
    RequestPace::Turn restless(fPace, kHere);
    EXPECT_GT(restless.Take(), wait);
  }
  EXPECT_EQ(patient.Take(), wait);
}

TEST_F(RequestPaceTest, AddressesDoNotWaitForEachOther) {
  while (IsFree(kHere)) {
  }
  EXPECT_TRUE(IsFree(kThere));
}

TEST_F(RequestPaceTest, ForgetsAnAddressThatNobodyAsksAnyMore) {
  for (int i = 0; i < 1000; ++i) {
    EXPECT_TRUE(IsFree(std::to_string(i)));
    fTime += 1s;
  }
  EXPECT_EQ(fPace.AddressCount(), 1U);
}

// Many clients that ask as fast as they can, like those of units whose checks all restart at once.
class RequestFloodTest : public ::testing::Test {
 protected:
  static constexpr std::size_t kClients = 20;
  static constexpr int kRequests = 132;
  static constexpr std::chrono::hours kNoTimeout{1};

  RequestFloodTest() {
    LocalHosts::Table table{{"good.local", {"127.0.0.2"}}};
    for (std::size_t i = 0; i < kClients; ++i) table.insert({HostOf(i), {"127.0.0.1"}});
    fHosts->Replace(table);
  }

  ~RequestFloodTest() override { End(); }

  static std::string HostOf(std::size_t client) { return "bad" + std::to_string(client) + ".local"; }

  void Flood(const std::string& path, std::string (*hostOf)(std::size_t client) = HostOf) {
    for (std::size_t i = 0; i < kClients; ++i) {
      fClients.push_back(std::make_unique<HTTPPoller>(fHosts, kNoTimeout));
      const std::string url = "http://" + hostOf(i) + ":" + fServer.PortText() + path;
      fThreads.emplace_back([this, client = fClients.back().get(), url] {
        while (!fEnds) (void)client->DoRequest(url, {});
      });
    }
  }

  void End() {
    fEnds = true;
    for (auto& client : fClients) client->Cancel();
    for (auto& thread : fThreads) thread.join();
    fThreads.clear();
  }

  // Waits for kRequests since the start of the test.
  void ExpectNoFasterThanTheBound() {
    ASSERT_TRUE(fServer.WaitForRequests(kRequests));
    const auto later = kRequests - RequestPace::kBurst;
    const auto aSecond = RequestPace::kMaxRequestsASecond - RequestPace::kBurst;
    EXPECT_GE(vorn::Clock::now() - fBegin, Duration(1s) * later / aSecond);
  }

  // Lets the burst through and no request after it, and returns when clients wait for their turns.
  void FloodWhileTheClockStandsStill() {
    fStandsStill = true;
    fServer.Reply("/x", 200);
    Flood("/x");
    ASSERT_TRUE(fServer.WaitForRequests(RequestPace::kBurst));
    ASSERT_TRUE(Eventually([&] { return fClockCalls > RequestPace::kBurst + kClients; }));
  }

  const vorn::Clock::time_point fBegin = vorn::Clock::now();
  std::atomic<bool> fStandsStill{false};
  std::atomic<std::size_t> fClockCalls{0};  // one for each question whether it is a client's turn
  const std::shared_ptr<LocalHosts> fHosts = std::make_shared<LocalHosts>([this] {
    ++fClockCalls;
    return fStandsStill ? fBegin : vorn::Clock::now();
  });
  LoopbackServer fServer;
  std::atomic<bool> fEnds{false};
  std::vector<std::unique_ptr<HTTPPoller>> fClients;
  std::vector<std::thread> fThreads;
};

TEST_F(RequestFloodTest, ReachesOneAddressNoFasterThanTheBound) {
  fServer.Reply("/x", 200);
  Flood("/x");
  ExpectNoFasterThanTheBound();
}

TEST_F(RequestFloodTest, OfRedirectsReachesOneAddressNoFasterThanTheBound) {
  for (int hop = 0; hop < kMaxRedirects; ++hop)
    fServer.Reply("/" + std::to_string(hop), 302, {}, {"Location: /" + std::to_string(hop + 1)});
  fServer.Reply("/" + std::to_string(kMaxRedirects), 200);
  Flood("/0");
  ExpectNoFasterThanTheBound();
}

// A request that meets a broken kept connection is sent a second time.
TEST_F(RequestFloodTest, OfBrokenConnectionsReachesOneAddressNoFasterThanTheBound) {
  std::atomic<int> requests{0};
  fServer.Handle("/x", [&](Exchange& exchange) {
    if (++requests % 2 == 0) return exchange.Close();
    exchange.Reply(200);
  });
  const StopsServer stops(fServer);
  Flood("/x");
  ExpectNoFasterThanTheBound();
  End();
}

// The client's library resolves "localhost" by itself, to an address of each family. Without an answer, the
// client never learns the address from an earlier request.
TEST_F(RequestFloodTest, OfHostsThatTheSystemResolvesReachesOneAddressNoFasterThanTheBound) {
  fServer.Handle("/x", [](Exchange& exchange) { exchange.Close(); });
  Flood("/x", [](std::size_t client) { return std::string(client % 2 == 0 ? "localhost" : "127.0.0.1"); });
  ExpectNoFasterThanTheBound();
}

// In the others' queue, the client would wait for ever.
TEST_F(RequestFloodTest, DelaysNoOtherAddress) {
  LoopbackServer good("127.0.0.2", 0);
  good.Reply("/x", 200);
  FloodWhileTheClockStandsStill();
  HTTPPoller client(fHosts);
  for (int i = 0; i < RequestPace::kBurst; ++i)
    ASSERT_TRUE(client.DoRequest("http://good.local:" + good.PortText() + "/x", {}));
  EXPECT_EQ(fServer.RequestCount(), RequestPace::kBurst);
}

TEST_F(RequestFloodTest, LetsClientsThatWaitForTheirTurnBeCancelled) {
  FloodWhileTheClockStandsStill();
  auto end = std::async(std::launch::async, [this] { End(); });
  EXPECT_EQ(end.wait_for(vorn::testing::kGenerousDeadline), std::future_status::ready);
  EXPECT_EQ(fServer.RequestCount(), RequestPace::kBurst);
  fStandsStill = false;  // so that clients that were not cancelled end too
}

}  // namespace
}  // namespace DeviceList
