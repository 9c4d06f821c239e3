#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>

#include "devicelist/http/HTTPPoller.h"
#include "tests/support/Eventually.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/Threads.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using vorn::testing::CountConnecting;
using vorn::testing::Eventually;
using vorn::testing::Exchange;
using vorn::testing::FullListener;
using vorn::testing::LoopbackServer;
using vorn::testing::Yield;

/// Much less than the request's own 30 s and much more than any scheduling delay.
constexpr auto kPrompt = 10s;

/// A request on a separate thread.
class RunningRequest {
 public:
  RunningRequest(HTTPPoller& poller, std::string url)
      : fAnswered(std::async(std::launch::async, [this, &poller, url = std::move(url)] {
          fThread = vorn::testing::OwnThread();
          return poller.DoRequest(url, {}).has_value();
        })) {}
  /// Whether the request has taken all bytes that it has received, and waits for more.
  [[nodiscard]] bool IsWaiting() const { return fThread != 0 && vorn::testing::IsWaiting(fThread); }
  [[nodiscard]] bool IsOver(std::chrono::milliseconds wait) {
    return fAnswered.wait_for(wait) == std::future_status::ready;
  }
  [[nodiscard]] bool WasAnswered() { return fAnswered.get(); }

 private:
  std::atomic<pid_t> fThread{0};
  std::future<bool> fAnswered;  // last: its thread uses the member above
};

/// Waits until the peer has done its part for the phase and the request waits for more.
[[nodiscard]] bool ReachesPhase(RunningRequest& request, const std::function<bool()>& isPeerInPhase) {
  return Eventually([&] { return isPeerInPhase() && request.IsWaiting(); }) && !request.IsOver(0ms);
}

void ExpectPromptCancel(const std::string& url, const std::function<bool()>& isPeerInPhase) {
  HTTPPoller poller;
  RunningRequest request(poller, url);
  ASSERT_TRUE(ReachesPhase(request, isPeerInPhase));
  poller.Cancel();
  ASSERT_TRUE(request.IsOver(kPrompt));
  EXPECT_FALSE(request.WasAnswered());
}

void ExpectPromptDestruction(const std::string& url, const std::function<bool()>& isPeerInPhase) {
  auto poller = std::make_unique<HTTPPoller>();
  RunningRequest request(*poller, url);
  ASSERT_TRUE(ReachesPhase(request, isPeerInPhase));
  auto destruction = std::async(std::launch::async, [&] { poller.reset(); });
  ASSERT_EQ(destruction.wait_for(kPrompt), std::future_status::ready);
  ASSERT_TRUE(request.IsOver(kPrompt));
  EXPECT_FALSE(request.WasAnswered());
}

TEST(HTTPPollerCancelTest, EndsARequestThatWaitsForItsConnection) {
  const FullListener listener;
  const auto before = CountConnecting(listener.Port());
  const auto url = "http://127.0.0.1:" + std::to_string(listener.Port()) + "/";
  ExpectPromptCancel(url, [&] { return CountConnecting(listener.Port()) > before; });
}

TEST(HTTPPollerCancelTest, DestructionEndsARequestThatWaitsForItsConnection) {
  const FullListener listener;
  const auto before = CountConnecting(listener.Port());
  const auto url = "http://127.0.0.1:" + std::to_string(listener.Port()) + "/";
  ExpectPromptDestruction(url, [&] { return CountConnecting(listener.Port()) > before; });
}

/// What the peer has sent when it falls silent.
class HTTPPollerCancelPhaseTest : public ::testing::TestWithParam<const char*> {
 protected:
  HTTPPollerCancelPhaseTest() {
    fServer.Handle("/", [this](Exchange& exchange) {
      exchange.Send(GetParam());
      fHasSent = true;
      exchange.Hang();
    });
  }

  std::atomic<bool> fHasSent{false};
  LoopbackServer fServer;  // last: its threads use the member above
};

TEST_P(HTTPPollerCancelPhaseTest, EndsTheRequestWhileThePeerHangs) {
  ExpectPromptCancel(fServer.Url(), [this] { return fHasSent.load(); });
}

TEST_P(HTTPPollerCancelPhaseTest, DestructionEndsTheRequestWhileThePeerHangs) {
  ExpectPromptDestruction(fServer.Url(), [this] { return fHasSent.load(); });
}

INSTANTIATE_TEST_SUITE_P(, HTTPPollerCancelPhaseTest,
                         ::testing::Values("", "HT", "HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\n\r\n",
                                           "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nabc",
                                           "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nabc"));

TEST(HTTPPollerCancelTest, EndsARequestWhoseRedirectHangs) {
  LoopbackServer server;
  server.Reply("/", 302, {}, {"Location: /hang"});
  server.Handle("/hang", [](Exchange& exchange) { exchange.Hang(); });
  ExpectPromptCancel(server.Url(), [&] { return server.RequestCount() == 2; });
}

TEST(HTTPPollerCancelTest, EndsARequestWhosePeerNeverStopsSending) {
  std::atomic<int> pieces{0};
  LoopbackServer server;
  server.Handle("/", [&](Exchange& exchange) {
    exchange.Send("HTTP/1.1 200 OK\r\n\r\n");
    for (; exchange.Pause(1ms); ++pieces) exchange.Send("x");
  });
  ExpectPromptCancel(server.Url(), [&] { return pieces > 3; });
}

TEST(HTTPPollerCancelTest, IsFinal) {
  LoopbackServer server;
  server.Reply("/", 200, "x");
  HTTPPoller poller;
  EXPECT_TRUE(poller.DoRequest(server.Url(), {}));
  poller.Cancel();
  EXPECT_FALSE(poller.DoRequest(server.Url(), {}));
  poller.Cancel();
  EXPECT_FALSE(poller.DoRequest(server.Url(), {}));
  EXPECT_EQ(server.RequestCount(), 1U);
}

TEST(HTTPPollerCancelTest, EndsThoseThatWaitForTheirTurnToo) {
  LoopbackServer server;
  server.Handle("/", [](Exchange& exchange) { exchange.Hang(); });
  HTTPPoller poller;
  RunningRequest first(poller, server.Url());
  RunningRequest second(poller, server.Url());
  ASSERT_TRUE(server.WaitForRequests(1));
  poller.Cancel();
  ASSERT_TRUE(first.IsOver(kPrompt));
  ASSERT_TRUE(second.IsOver(kPrompt));
  EXPECT_FALSE(first.WasAnswered());
  EXPECT_FALSE(second.WasAnswered());
  EXPECT_EQ(server.RequestCount(), 1U);
}

TEST(HTTPPollerCancelTest, MayComeAtAnyMomentFromAnyThread) {
  LoopbackServer server;
  server.Reply("/", 200, "x");
  for (int round = 0; round < 200; ++round) {
    const auto before = server.RequestCount();
    HTTPPoller poller;
    std::thread requests([&] {
      while (poller.DoRequest(server.Url(), {})) {
      }
    });
    EXPECT_TRUE(server.WaitForRequests(before + static_cast<std::size_t>(round % 4)));
    Yield(round);
    std::thread other([&] { poller.Cancel(); });
    poller.Cancel();
    requests.join();  // ends only when a request gave no answer
    other.join();
  }
}

}  // namespace
}  // namespace DeviceList
