#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>

#include "devicelist/http/HTTPPoller.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList {
namespace {

using namespace std::string_literals;
using ::testing::ElementsAre;
using vorn::testing::Exchange;
using vorn::testing::LoopbackServer;
using vorn::testing::StopsServer;

/// What is on a connection before and after the answers: half answers, and bytes that belong to none.
class HTTPPollerConnectionTest : public ::testing::Test {
 protected:
  vorn::optional<HTTPAnswer> Get(const std::string& target) {
    return fPoller.DoRequest(fServer.Url(target), {});
  }

  LoopbackServer fServer;
  HTTPPoller fPoller;
};

// ---- An answer that ends within its header ----

class HTTPCutHeaderTest : public HTTPPollerConnectionTest,
                          public ::testing::WithParamInterface<const char*> {};

TEST_P(HTTPCutHeaderTest, IsNoAnswer) {
  const auto endBy = [this](void (Exchange::*end)()) {
    fServer.Handle("/x", [end](Exchange& exchange) {
      exchange.Send(GetParam());
      (exchange.*end)();
    });
    return Get("/x");
  };
  EXPECT_FALSE(endBy(&Exchange::Close));
  EXPECT_FALSE(endBy(&Exchange::Reset));
}

TEST_P(HTTPCutHeaderTest, IsNoAnswerOverAKeptConnectionEitherAndNotAskedForAgain) {
  fServer.Reply("/good", 200, "good");
  fServer.Handle("/x", [](Exchange& exchange) {
    exchange.Send(GetParam());
    exchange.Close();
  });
  EXPECT_TRUE(Get("/good"));
  EXPECT_FALSE(Get("/x"));
  EXPECT_THAT(fServer.Targets(), ElementsAre("/good", "/x"));
}

INSTANTIATE_TEST_SUITE_P(
    , HTTPCutHeaderTest,
    ::testing::Values("HTTP/1.1 200 OK\r\n", "HTTP/1.1 200 OK\r\nETag: \"1\"\r\n",
                      "HTTP/1.1 200 OK\r\nETag: \"1\"\r\nContent-Length: 0\r\n",
                      "HTTP/1.1 200 OK\r\nETag: \"1", "HTTP/1.0 404 Not Found\r\n",
                      "HTTP/1.1 304 Not Modified\r\n", "HTTP/1.1 204 No Content\r\n",
                      "HTTP/1.1 103 Early Hints\r\n\r\n", "HTTP/1.1 100 Continue\r\n\r\n",
                      "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nETag: \"1\"\r\n"));

// ---- Bytes behind an answer ----

struct Stray {
  const char* answer;
  const char* behind;
};

class HTTPStrayBytesTest : public HTTPPollerConnectionTest, public ::testing::WithParamInterface<Stray> {};

/// The bytes reach the computer between two requests.
TEST_P(HTTPStrayBytesTest, SpoilNoLaterRequestWhenTheyWaitOnTheConnection) {
  std::promise<void> answered;
  std::promise<void> sent;
  const StopsServer stops(fServer);
  fServer.Handle("/x", [&](Exchange& exchange) {
    exchange.Send(GetParam().answer);
    answered.get_future().wait();
    exchange.Send(GetParam().behind);
    sent.set_value();
  });
  fServer.Reply("/good", 200, "good");
  EXPECT_TRUE(Get("/x"));
  answered.set_value();
  sent.get_future().wait();
  for (int i = 0; i < 3; ++i) {
    const auto answer = Get("/good");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->first, "good");
  }
  EXPECT_THAT(fServer.Targets(), ElementsAre("/x", "/good", "/good", "/good"));
  const auto requests = fServer.Requests();
  for (std::size_t i = 1; i < requests.size(); ++i) EXPECT_NE(requests[i].connection, requests[0].connection);
}

TEST_P(HTTPStrayBytesTest, SpoilNoLaterRequestWhenTheyComeInOnePieceWithTheAnswer) {
  fServer.Handle(
      "/x", [](Exchange& exchange) { exchange.Send(std::string(GetParam().answer) + GetParam().behind); });
  fServer.Reply("/good", 200, "good");
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(Get("/x"));
    const auto answer = Get("/good");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->first, "good");
  }
  EXPECT_EQ(fServer.RequestCount(), 6U);
}

constexpr char kOK[] = "HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx";
INSTANTIATE_TEST_SUITE_P(
    , HTTPStrayBytesTest,
    ::testing::Values(
        Stray{kOK, "\r\n"}, Stray{kOK, "{\"value\":\"x\"}"},
        Stray{"HTTP/1.1 204 No Content\r\n\r\n", "a body"},
        Stray{"HTTP/1.1 304 Not Modified\r\n\r\n", "a body\r\n"},
        Stray{"HTTP/1.1 304 Not Modified\r\n\r\n", "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nstray"},
        Stray{"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\nx\r\n0\r\n\r\n", "\r\n"}));

/// The bytes come between the next request and its answer.
TEST_F(HTTPPollerConnectionTest, AsksOnceMoreOverAFreshConnectionWhereNoAnswerBeginsOnTheKeptOne) {
  for (const auto* bytes : {"\r\nHTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx", "garbage\r\n\r\n", "\r\n",
                            "{\"value\":\"x\"}HTTP/1.1 200 OK\r\n\r\n", "HTTP/9.9 200 OK\r\n\r\n"}) {
    LoopbackServer server;
    HTTPPoller poller;
    std::atomic<int> last{0};
    const StopsServer stops(server);
    server.Handle("/x", [&](Exchange& exchange) {
      const bool kept = last.exchange(exchange.Request().connection) == exchange.Request().connection;
      if (!kept) return exchange.Reply(200, "good");
      exchange.Send(bytes);
      exchange.Close();
    });
    ASSERT_TRUE(poller.DoRequest(server.Url("/x"), {}));
    for (int i = 1; i <= 3; ++i) {
      const auto answer = poller.DoRequest(server.Url("/x"), {});
      ASSERT_TRUE(answer) << bytes;
      EXPECT_EQ(answer->first, "good");
      EXPECT_EQ(server.RequestCount(), static_cast<std::size_t>(1 + 2 * i)) << bytes;
    }
  }
}

TEST_F(HTTPPollerConnectionTest, AsksOnceMoreAndNotTwice) {
  fServer.Reply("/good", 200, "good");
  fServer.Handle("/bad", [](Exchange& exchange) {
    exchange.Send("garbage\r\n\r\n");
    exchange.Close();
  });
  EXPECT_TRUE(Get("/good"));
  EXPECT_FALSE(Get("/bad"));
  EXPECT_THAT(fServer.Targets(), ElementsAre("/good", "/bad", "/bad"));
  EXPECT_FALSE(Get("/bad"));  // there is no kept connection that could be the reason
  EXPECT_EQ(fServer.RequestCount(), 4U);
}

TEST_F(HTTPPollerConnectionTest, DoesNotAskAgainWhereAnAnswerHadBegun) {
  for (const auto& bytes : {"HTTP/1.1 200 " + std::string(70'000, 'x') + "\r\n\r\n",
                            "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nx"s}) {
    LoopbackServer server;
    HTTPPoller poller;
    server.Reply("/good", 200, "x");
    server.Handle("/bad", [=](Exchange& exchange) {
      exchange.Send(bytes);
      exchange.Close();
    });
    EXPECT_TRUE(poller.DoRequest(server.Url("/good"), {}));
    EXPECT_FALSE(poller.DoRequest(server.Url("/bad"), {}));
    EXPECT_THAT(server.Targets(), ElementsAre("/good", "/bad")) << bytes.substr(0, 20);
  }
}

}  // namespace
}  // namespace DeviceList
