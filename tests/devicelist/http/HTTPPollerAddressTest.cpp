#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "devicelist/http/HTTPPoller.h"
#include "tests/support/Eventually.h"
#include "tests/support/FailingAllocation.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using vorn::testing::CountConnecting;
using vorn::testing::Eventually;
using vorn::testing::Exchange;
using vorn::testing::FailingAllocation;
using vorn::testing::FullListener;
using vorn::testing::LoopbackServer;
using vorn::testing::StopsServer;

constexpr char kHost[] = "studio-a.local";
constexpr char kFirst[] = "127.0.0.1";
constexpr char kSecond[] = "127.0.0.2";
constexpr char kThird[] = "127.0.0.3";

/// Much less than the request's own 30 s and much more than any scheduling delay.
constexpr auto kPrompt = 10s;

/// Where a host is, according to discovery, and what its client does with it.
class HTTPPollerAddressTest : public ::testing::Test {
 protected:
  void Move(std::vector<std::string> addresses) { fHosts->Replace({{kHost, std::move(addresses)}}); }

  /// The body of the answer to a request for "/x" of the host at this port.
  std::string Get(std::uint16_t port) {
    const auto answer =
        fPoller.DoRequest("http://" + std::string(kHost) + ":" + std::to_string(port) + "/x", {});
    return answer ? answer->first : "no answer";
  }

  const std::shared_ptr<LocalHosts> fHosts = std::make_shared<LocalHosts>();
  HTTPPoller fPoller{fHosts};
};

TEST_F(HTTPPollerAddressTest, AsksThePinnedAddressAndKeepsTheNameInTheHostField) {
  LoopbackServer server;
  server.Reply("/x", 200, "pinned");
  Move({kFirst});
  for (const char* host : {"studio-a.local", "Studio-A.LOCAL", "studio-a.local."}) {
    const auto authority = host + (":" + server.PortText());
    const auto answer = fPoller.DoRequest("http://" + authority + "/x", {});
    ASSERT_TRUE(answer) << host;
    EXPECT_EQ(answer->first, "pinned");
    EXPECT_THAT(server.Requests().back().ValuesOf("Host"), ElementsAre(authority));
  }
}

TEST_F(HTTPPollerAddressTest, AsksThePinnedAddressWhateverBytesTheNameHolds) {
  LoopbackServer server;
  server.Reply("/x?y", 200, "pinned");
  for (const std::string host : {"b\u00FChne.local", "\xFF.local", "-a.local"}) {
    fHosts->Replace({{host, {kFirst}}});
    const auto authority = host + ":" + server.PortText();
    const auto answer = fPoller.DoRequest("http://" + authority + "/x?y", {});
    ASSERT_TRUE(answer) << host;
    EXPECT_EQ(answer->first, "pinned");
    EXPECT_THAT(server.Requests().back().ValuesOf("Host"), ElementsAre(authority));
  }
}

TEST_F(HTTPPollerAddressTest, AsksTheAddressOnTheOtherPortsOfARedirectToo) {
  LoopbackServer server;
  LoopbackServer other;
  other.Reply("/end", 200, "other");
  server.Reply("/x", 302, {}, {"Location: http://studio-a.local:" + other.PortText() + "/end"});
  Move({kFirst});
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Get(server.Port()), "other");
}

// ---- Several addresses ----

/// Servers on the two addresses that share a port. A port that is free on the first may be taken on the
/// second. They answer "/x" with their names.
class TwoServers {
 public:
  TwoServers() {
    for (int attempt = 1; !second; ++attempt) {
      first = std::make_unique<LoopbackServer>();
      try {
        second = std::make_unique<LoopbackServer>(kSecond, first->Port());
      } catch (const std::runtime_error&) {
        if (attempt == 100) throw;
      }
    }
    first->Reply("/x", 200, "first");
    second->Reply("/x", 200, "second");
  }
  [[nodiscard]] std::uint16_t Port() const { return first->Port(); }

  std::unique_ptr<LoopbackServer> first;
  std::unique_ptr<LoopbackServer> second;
};

TEST_F(HTTPPollerAddressTest, AsksTheNextAddressWhereOneRefuses) {
  TwoServers servers;
  servers.first.reset();
  Move({kFirst, kSecond});
  EXPECT_EQ(Get(servers.second->Port()), "second");
}

TEST_F(HTTPPollerAddressTest, AsksTheNextAddressWhereOneIsSilent) {
  const FullListener silent;
  LoopbackServer good(kSecond, silent.Port());
  good.Reply("/x", 200, "second");
  Move({kFirst, kSecond});
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Get(silent.Port()), "second");
  EXPECT_LT(std::chrono::steady_clock::now() - begin, kPrompt);
}

TEST_F(HTTPPollerAddressTest, GoesOnAtTheAddressThatAnsweredLast) {
  TwoServers servers;
  const auto port = servers.Port();
  servers.first.reset();
  servers.second->Reply("/x", 200, "second", {"Connection: close"});
  Move({kFirst, kSecond});
  EXPECT_EQ(Get(port), "second");
  servers.first = std::make_unique<LoopbackServer>(kFirst, port);
  servers.first->Reply("/x", 200, "first");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Get(port), "second");
  EXPECT_EQ(servers.first->ConnectionCount(), 0);
  servers.second.reset();
  EXPECT_EQ(Get(port), "first");  // the others are not forgotten
  EXPECT_EQ(Get(port), "first");
}

TEST_F(HTTPPollerAddressTest, GivesNoAnswerInTimeWhereAllAreSilent) {
  const FullListener silent;
  HTTPPoller poller(fHosts, 300ms);
  fHosts->Replace({{kHost, {kFirst, kFirst}}});
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(poller.DoRequest("http://studio-a.local:" + std::to_string(silent.Port()) + "/", {}));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, kPrompt);
}

// ---- No memory ----

TEST_F(HTTPPollerAddressTest, AnswersAgainAfterEachRequestWithoutMemory) {
  LoopbackServer server;
  server.Reply("/x", 200, "answer");
  const std::string url = "http://studio-a.local:" + server.PortText() + "/x";
  bool hasFailed = true;
  for (int nth = 1; hasFailed; ++nth) {
    // The addresses differ from the last request's, so that the client looks at them.
    Move({kFirst, "127.0.0." + std::to_string(2 + nth % 2)});
    {
      const FailingAllocation lack(nth);
      static_cast<void>(fPoller.DoRequest(url, {}));
      hasFailed = lack.HasFailed();
    }
    ASSERT_EQ(Get(server.Port()), "answer") << nth;
  }
}

// ---- A host that moves between requests ----

TEST_F(HTTPPollerAddressTest, FollowsAHostToItsNewAddressAtTheNextRequest) {
  TwoServers servers;
  Move({kFirst});
  EXPECT_EQ(Get(servers.Port()), "first");
  Move({kSecond});
  EXPECT_EQ(Get(servers.Port()), "second");
  EXPECT_EQ(servers.first->ConnectionCount(), 1);
}

TEST_F(HTTPPollerAddressTest, AsksFirstAtAnAddressThatWasAnnouncedSinceTheLastAnswer) {
  TwoServers servers;
  Move({kFirst});
  EXPECT_EQ(Get(servers.Port()), "first");
  servers.first->Reply("/x", 404, "another unit's by now");
  Move({kSecond, kFirst});
  for (int i = 0; i < 2; ++i) EXPECT_EQ(Get(servers.Port()), "second");
  Move({kFirst, kSecond});  // both were known when the second answered
  EXPECT_EQ(Get(servers.Port()), "second");
}

/// A unit that redirects to its own address has a silent one too.
TEST_F(HTTPPollerAddressTest, GoesOnAtTheAddressThatAnsweredBehindARedirect) {
  TwoServers servers;
  servers.second->Reply("/x", 302, {}, {"Location: " + servers.second->Url("/y")});
  servers.second->Reply("/y", 200, "second");
  const auto port = servers.Port();
  servers.first.reset();
  Move({kFirst, kSecond});
  EXPECT_EQ(Get(port), "second");
  servers.first = std::make_unique<LoopbackServer>(kFirst, port);
  EXPECT_EQ(Get(port), "second");
  EXPECT_EQ(servers.first->ConnectionCount(), 0);
}

TEST_F(HTTPPollerAddressTest, FollowsTwoHostsThatExchangeTheirAddresses) {
  TwoServers servers;
  HTTPPoller other(fHosts);
  const auto otherUrl = "http://studio-b.local:" + std::to_string(servers.Port()) + "/x";
  for (int round = 0; round < 3; ++round) {
    fHosts->Replace({{kHost, {kFirst}}, {"studio-b.local", {kSecond}}});
    EXPECT_EQ(Get(servers.Port()), "first");
    EXPECT_EQ(other.DoRequest(otherUrl, {})->first, "second");
    fHosts->Replace({{kHost, {kSecond}}, {"studio-b.local", {kFirst}}});
    EXPECT_EQ(Get(servers.Port()), "second");
    EXPECT_EQ(other.DoRequest(otherUrl, {})->first, "first");
  }
}

// ---- A host that moves under a request ----

/// A request for "/x" on a separate thread.
class RunningRequest {
 public:
  RunningRequest(HTTPPoller& poller, std::uint16_t port)
      : fBody(std::async(std::launch::async, [&poller, port] {
          const auto answer = poller.DoRequest("http://studio-a.local:" + std::to_string(port) + "/x", {});
          return answer ? answer->first : std::string("no answer");
        })) {}
  [[nodiscard]] bool IsOver() const { return fBody.wait_for(kPrompt) == std::future_status::ready; }
  [[nodiscard]] std::string Body() { return fBody.get(); }

 private:
  std::future<std::string> fBody;
};

TEST_F(HTTPPollerAddressTest, GivesUpAConnectionToAnAddressThatTheHostHasLeft) {
  const FullListener silent;
  LoopbackServer good(kSecond, silent.Port());
  good.Reply("/x", 200, "second");
  Move({kFirst});
  const int before = CountConnecting(silent.Port());
  RunningRequest request(fPoller, silent.Port());
  ASSERT_TRUE(Eventually([&] { return CountConnecting(silent.Port()) > before; }));
  Move({kSecond});
  ASSERT_TRUE(request.IsOver());
  EXPECT_EQ(request.Body(), "second");
}

/// A request at the first address, where nobody answers.
class HTTPSilenceTest : public HTTPPollerAddressTest, public ::testing::WithParamInterface<bool> {
 protected:
  [[nodiscard]] std::unique_ptr<RunningRequest> AskInSilence(HTTPPoller& poller) {
    const int before = CountConnecting(fSilent.Port());
    auto request = std::make_unique<RunningRequest>(poller, fSilent.Port());
    EXPECT_TRUE(Eventually([&] { return CountConnecting(fSilent.Port()) > before; }));
    return request;
  }

  const FullListener fSilent;
};

TEST_P(HTTPSilenceTest, EndsWhenTheHostGetsANewAddress) {
  LoopbackServer good(kThird, fSilent.Port());
  good.Reply("/x", 200, "third");
  Move(GetParam() ? std::vector<std::string>{kSecond, kFirst} : std::vector<std::string>{kFirst});
  const auto request = AskInSilence(fPoller);
  Move({kThird, kFirst});
  ASSERT_TRUE(request->IsOver());
  EXPECT_EQ(request->Body(), "third");
}

INSTANTIATE_TEST_SUITE_P(, HTTPSilenceTest, ::testing::Bool());

TEST_F(HTTPSilenceTest, EndsWhenTheHostComesBackAtItsOtherAddress) {
  Move({kSecond, kFirst});
  const auto request = AskInSilence(fPoller);
  LoopbackServer good(kSecond, fSilent.Port());  // refused the request before
  good.Reply("/x", 200, "second");
  ASSERT_TRUE(request->IsOver());
  EXPECT_EQ(request->Body(), "second");
}

TEST_F(HTTPSilenceTest, IsNotFollowedByAnAddressThatTheHostHasLeftMeanwhile) {
  const LoopbackServer left(kSecond, fSilent.Port());
  HTTPPoller poller(fHosts, 2 * kAddressTimeout);
  Move({kFirst, kSecond});
  const auto request = AskInSilence(poller);
  Move({kFirst});
  ASSERT_TRUE(request->IsOver());
  EXPECT_EQ(request->Body(), "no answer");
  EXPECT_EQ(left.ConnectionCount(), 0);
}

TEST_F(HTTPPollerAddressTest, AsksAtANewAddressWhereTheRequestFailsAtTheOldOne) {
  TwoServers servers;
  servers.first->Handle("/x", [this](Exchange& exchange) {
    exchange.Send("HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nfi");
    Move({kSecond, kFirst});
    exchange.Reset();
  });
  const StopsServer stops(*servers.first);
  Move({kFirst});
  EXPECT_EQ(Get(servers.Port()), "second");
}

/// What the unit has sent from its old address when it moves.
class HTTPMoveTest : public HTTPPollerAddressTest, public ::testing::WithParamInterface<const char*> {
 protected:
  HTTPMoveTest() { Move({kFirst}); }

  /// The unit moves while it answers the next request.
  void ExpectRequestMadeAnew() {
    const auto before = fServers.first->RequestCount();
    fServers.first->Handle("/x", [](Exchange& exchange) {
      exchange.Send(GetParam());
      exchange.Hang();
    });
    RunningRequest request(fPoller, fServers.Port());
    ASSERT_TRUE(fServers.first->WaitForRequests(before + 1));
    Move({kSecond});
    ASSERT_TRUE(request.IsOver());
    EXPECT_EQ(request.Body(), "second");
    EXPECT_EQ(fServers.second->RequestCount(), 1U);
    EXPECT_EQ(Get(fServers.Port()), "second");
    EXPECT_EQ(fServers.second->ConnectionCount(), 1);
  }

  TwoServers fServers;
};

TEST_P(HTTPMoveTest, RepeatsARequestAtTheHostsNewAddress) {
  ExpectRequestMadeAnew();
}

TEST_P(HTTPMoveTest, RepeatsARequestOverAKeptConnectionToo) {
  EXPECT_EQ(Get(fServers.Port()), "first");
  ExpectRequestMadeAnew();
}

INSTANTIATE_TEST_SUITE_P(, HTTPMoveTest,
                         ::testing::Values("", "HT", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n",
                                           "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nfi"));

TEST_F(HTTPPollerAddressTest, BeginsAtTheNameAgainWhenAHostMovesUnderARedirect) {
  TwoServers servers;
  LoopbackServer target;
  target.Handle("/y", [](Exchange& exchange) { exchange.Hang(); });
  servers.first->Reply("/x", 302, {}, {"Location: " + target.Url("/y")});
  Move({kFirst});
  RunningRequest request(fPoller, servers.Port());
  ASSERT_TRUE(target.WaitForRequests(1));
  Move({kSecond});
  ASSERT_TRUE(request.IsOver());
  EXPECT_EQ(request.Body(), "second");
}

/// What does not affect a request: more addresses, other hosts, no host any more.
TEST_F(HTTPPollerAddressTest, LeavesARequestAloneWhileItsAddressStands) {
  TwoServers servers;
  std::promise<void> arrived;
  std::promise<void> changed;
  const StopsServer stops(*servers.first);
  servers.first->Handle("/x", [&](Exchange& exchange) {
    arrived.set_value();
    changed.get_future().wait();
    exchange.Reply(200, "first");
  });
  Move({kFirst});
  RunningRequest request(fPoller, servers.Port());
  arrived.get_future().wait();
  Move({kSecond, kFirst});
  fHosts->Replace({{kHost, {kFirst}}, {"studio-b.local", {kSecond}}});
  fHosts->Replace({});
  changed.set_value();
  ASSERT_TRUE(request.IsOver());
  EXPECT_EQ(request.Body(), "first");
  EXPECT_EQ(servers.first->RequestCount(), 1U);
  EXPECT_EQ(servers.second->ConnectionCount(), 0);
}

TEST_F(HTTPPollerAddressTest, EndsCancelledEvenWhereTheHostMoves) {
  TwoServers servers;
  servers.first->Handle("/x", [](Exchange& exchange) { exchange.Hang(); });
  servers.second->Handle("/x", [](Exchange& exchange) { exchange.Hang(); });
  Move({kFirst});
  RunningRequest request(fPoller, servers.Port());
  ASSERT_TRUE(servers.first->WaitForRequests(1));
  Move({kSecond});
  ASSERT_TRUE(servers.second->WaitForRequests(1));
  fPoller.Cancel();
  Move({kFirst});
  ASSERT_TRUE(request.IsOver());
  EXPECT_EQ(request.Body(), "no answer");
}

TEST_F(HTTPPollerAddressTest, AnswersEachRequestHoweverOftenTheHostMoves) {
  TwoServers servers;
  Move({kFirst});
  constexpr int kRequests = 200;
  std::counting_semaphore<kRequests> requests{0};  // each moves at some moment during it
  std::thread mover([&] {
    for (int i = 0; i < kRequests; ++i) {
      requests.acquire();
      Move({kSecond});
      Move({kFirst, kSecond});
      Move({kFirst});
    }
  });
  for (int i = 0; i < kRequests; ++i) {
    requests.release();
    const auto body = Get(servers.Port());
    EXPECT_TRUE(body == "first" || body == "second") << body;
  }
  mover.join();
}

}  // namespace
}  // namespace DeviceList
