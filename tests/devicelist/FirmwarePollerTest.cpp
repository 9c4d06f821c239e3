#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "devicelist/Datastore.h"
#include "devicelist/FirmwarePoller.h"
#include "tests/support/Eventually.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using vorn::testing::Eventually;
using vorn::testing::Exchange;
using vorn::testing::LoopbackServer;
using vorn::testing::StopsServer;

static_assert(std::is_nothrow_move_constructible_v<FirmwarePoller> &&
              std::is_nothrow_move_assignable_v<FirmwarePoller> &&
              !std::is_copy_constructible_v<FirmwarePoller>);
static_assert(kFirmwarePollPeriod == 600s);

constexpr auto kQuick = 5ms;
constexpr auto kOnce = 1h;
const std::string kPath = "/api/device/ab12/firmware";

std::string Releases(const std::string& version) {
  return R"([{"version":")" + version + R"("},{"version":"0"}])";
}

class FirmwarePollerTest : public ::testing::Test {
 protected:
  /// A poller that asks the test's server.
  [[nodiscard]] FirmwarePoller Ask(std::chrono::milliseconds period, std::function<void()> onChanged = {},
                                   const std::string& model = "ab12",
                                   const std::string& channel = "release") const {
    return {model, channel, std::move(onChanged), *UpdateServer::At(fServer.Url("/api/")), period};
  }

  [[nodiscard]] static std::string LatestOf(const FirmwarePoller& poller) {
    const auto version = poller.GetLatestVersion();
    return version ? *version : "(none)";
  }

  LoopbackServer fServer;
};

TEST_F(FirmwarePollerTest, AsksAtOnceAndKeepsTheFirstVersion) {
  fServer.Reply(kPath, 200, Releases("1.4.2+311"), {"ETag: t"});
  std::atomic<int> calls{0};
  const FirmwarePoller poller = Ask(kOnce, [&] { ++calls; });
  ASSERT_TRUE(Eventually([&] { return calls == 1; }));
  EXPECT_EQ(LatestOf(poller), "1.4.2+311");
  EXPECT_THAT(fServer.Targets(), ElementsAre(kPath));
}

TEST_F(FirmwarePollerTest, PutsTheChannelAndTheEncodedModelIntoThePath) {
  const auto targetOf = [this](const std::string& model, const std::string& channel) {
    const auto before = fServer.RequestCount();
    const FirmwarePoller poller = Ask(kOnce, {}, model, channel);
    return fServer.WaitForRequests(before + 1) ? fServer.Targets().back() : "(none)";
  };
  EXPECT_EQ(targetOf("ab12", "release"), "/api/device/ab12/firmware");
  EXPECT_EQ(targetOf("ab12", ""), "/api/device/ab12/firmware");
  EXPECT_EQ(targetOf("ab12", "beta"), "/api/beta/device/ab12/firmware");
  EXPECT_EQ(targetOf("ab12", "Release"), "/api/Release/device/ab12/firmware");
  EXPECT_EQ(targetOf("ab12", "my beta/2"), "/api/my%20beta%2f2/device/ab12/firmware");
  EXPECT_EQ(targetOf("My Model", "release"), "/api/device/My%20Model/firmware");
  EXPECT_EQ(targetOf(".", "release"), "/api/device/./firmware");
  EXPECT_EQ(targetOf("..", "release"), "/api/device/../firmware");
  EXPECT_EQ(targetOf("../../x?#@\r\n\xff", "release"), "/api/device/..%2f..%2fx%3f%23%40%0d%0a%ff/firmware");
}

TEST_F(FirmwarePollerTest, CallsBackOnlyForADifferentVersionAndSendsNoTag) {
  std::atomic<int> queries{0};
  const StopsServer stops(fServer);
  fServer.Handle(kPath, [&](Exchange& exchange) {
    const int query = ++queries;
    if (query > 6) return exchange.Hang();
    exchange.Reply(200, Releases(query <= 3 ? "1" : "2"), {"ETag: t"});
  });
  std::atomic<int> calls{0};
  const FirmwarePoller poller = Ask(kQuick, [&] { ++calls; });
  ASSERT_TRUE(fServer.WaitForRequests(7));
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(LatestOf(poller), "2");
  for (const auto& request : fServer.Requests()) EXPECT_THAT(request.ValuesOf("If-None-Match"), IsEmpty());
}

TEST_F(FirmwarePollerTest, CutsAVersionBeyondTheBound) {
  fServer.Reply(kPath, 200, Releases(std::string(1'000'000, '1')));
  const FirmwarePoller poller = Ask(kOnce);
  EXPECT_TRUE(Eventually([&] { return poller.GetLatestVersion().has_value(); }));
  EXPECT_EQ(LatestOf(poller), std::string(kMaxValueBytes, '1'));
}

TEST_F(FirmwarePollerTest, KeepsTheLastGoodAnswerThroughEveryFailure) {
  const std::vector<std::pair<int, std::string>> failures = {
      {404, Releases("9")},
      {500, Releases("9")},
      {304, ""},
      {201, Releases("9")},
      {200, ""},
      {200, "garbage"},
      {200, "[]"},
      {200, "{}"},
      {200, "[{}]"},
      {200, R"({"version":"9"})"},
      {200, "[{\"version\":9}]"},
      {200, R"([1,{"version":"9"}])"},
      {200, R"([{},{"version":"9"}])"},
      {0, ""},
  };
  std::atomic<std::size_t> queries{0};
  const StopsServer stops(fServer);
  fServer.Handle(kPath, [&](Exchange& exchange) {
    const auto query = queries++;
    if (query == 0) return exchange.Reply(200, Releases("1"));
    if (query > failures.size()) return exchange.Hang();
    const auto& [status, body] = failures[query - 1];
    if (status == 0) return exchange.Send("HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nx"), exchange.Reset();
    exchange.Reply(status, body);
  });
  std::atomic<int> calls{0};
  const FirmwarePoller poller = Ask(kQuick, [&] { ++calls; });
  ASSERT_TRUE(fServer.WaitForRequests(failures.size() + 2));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(LatestOf(poller), "1");
}

TEST_F(FirmwarePollerTest, PausesAWholePeriodAfterAFailureToo) {
  fServer.Reply(kPath, 500);
  const auto begin = std::chrono::steady_clock::now();
  const FirmwarePoller poller = Ask(60ms);
  ASSERT_TRUE(fServer.WaitForRequests(4));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, 3 * 60ms);
}

TEST_F(FirmwarePollerTest, CallsBackWithNoLockHeldAndNeedsNoCallback) {
  fServer.Reply(kPath, 200, Releases("1"));
  std::atomic<bool> seen{false};
  std::atomic<const FirmwarePoller*> self{nullptr};
  const FirmwarePoller poller = Ask(kOnce, [&] {
    while (self == nullptr) std::this_thread::yield();
    seen = self.load()->GetLatestVersion().has_value();
  });
  self = &poller;
  EXPECT_TRUE(Eventually([&] { return seen.load(); }));
  const FirmwarePoller silent = Ask(kOnce);
  EXPECT_TRUE(Eventually([&] { return LatestOf(silent) == "1"; }));
}

TEST_F(FirmwarePollerTest, EachAsksItsOwnServer) {
  LoopbackServer other;
  fServer.Reply(kPath, 200, Releases("1"));
  other.Reply("/v2/api/device/ab12/firmware", 200, Releases("2"));
  const FirmwarePoller first = Ask(kOnce);
  const FirmwarePoller second("ab12", "release", {}, *UpdateServer::At(other.Url("/v2/api/")), kOnce);
  EXPECT_TRUE(Eventually([&] { return LatestOf(first) == "1" && LatestOf(second) == "2"; }));
}

TEST_F(FirmwarePollerTest, FollowsRedirectsToAnyHost) {
  LoopbackServer other("127.0.0.2", 0);
  other.Reply("/new", 200, Releases("1"));
  fServer.Reply(kPath, 302, {}, {"Location: " + other.Url("/new")});
  const FirmwarePoller poller = Ask(kQuick);
  EXPECT_TRUE(Eventually([&] { return LatestOf(poller) == "1"; }));
}

TEST_F(FirmwarePollerTest, CanBeMovedWhileItPolls) {
  fServer.Reply(kPath, 200, Releases("1"));
  std::atomic<int> calls{0};
  FirmwarePoller first = Ask(kQuick, [&] { ++calls; });
  FirmwarePoller second(std::move(first));
  EXPECT_TRUE(Eventually([&] { return LatestOf(second) == "1"; }));
  EXPECT_EQ(LatestOf(first), "(none)");  // NOLINT(bugprone-use-after-move): defined to know nothing
  first = std::move(second);
  EXPECT_EQ(LatestOf(first), "1");
  const auto before = fServer.RequestCount();
  EXPECT_TRUE(fServer.WaitForRequests(before + 3));
  EXPECT_EQ(calls, 1);
}

TEST_F(FirmwarePollerTest, AMovedFromOneOwnsNoThread) {
  fServer.Reply(kPath, 200, Releases("1"));
  auto first = std::make_unique<FirmwarePoller>(Ask(kQuick));
  {
    const FirmwarePoller second(std::move(*first));
    ASSERT_TRUE(fServer.WaitForRequests(2));
  }
  // The thread moved to the one that took it over.
  ASSERT_TRUE(Eventually([&] { return fServer.OpenConnections() == 0; }));
  const auto requests = fServer.RequestCount();
  first.reset();
  EXPECT_EQ(fServer.RequestCount(), requests);
}

TEST_F(FirmwarePollerTest, AssigningToOneEndsWhatItDidBefore) {
  FirmwarePoller poller = Ask(kOnce);
  ASSERT_TRUE(fServer.WaitForRequests(1));
  poller = Ask(kOnce, {}, "cd34");
  ASSERT_TRUE(fServer.WaitForRequests(2));
  EXPECT_TRUE(Eventually([&] { return fServer.OpenConnections() == 1; }));
}

TEST_F(FirmwarePollerTest, LivesInAMap) {
  fServer.Reply(kPath, 200, Releases("1"));
  std::map<std::string, FirmwarePoller> pollers;
  pollers.emplace("ab12", Ask(kOnce));
  EXPECT_TRUE(Eventually([&] { return LatestOf(pollers.at("ab12")) == "1"; }));
}

TEST_F(FirmwarePollerTest, GoesAtOnceWhileTheServerHangs) {
  fServer.Handle(kPath, [](Exchange& exchange) { exchange.Hang(); });
  auto poller = std::make_unique<FirmwarePoller>(Ask(kOnce));
  ASSERT_TRUE(fServer.WaitForRequests(1));
  const auto begin = std::chrono::steady_clock::now();
  poller.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
}

TEST(UpdateServerTest, IsTheBuildsOwnByDefault) {
  EXPECT_TRUE(UpdateServer::At(UpdateServer().Root()));
}

TEST(UpdateServerTest, TakesHttpUrlsThatEndInApi) {
  for (const char* root : {"http://updates.example/api/", "http://127.0.0.1:8080/api/", "http://h/v1/api/",
                           "http://[::1]:80/api/"}) {
    const auto server = UpdateServer::At(root);
    ASSERT_TRUE(server) << root;
    EXPECT_EQ(server->Root(), root);
  }
}

TEST(UpdateServerTest, RefusesAllElse) {
  for (const auto& root : {""s,
                           "https://h/api/"s,
                           "HTTP://h/api/"s,
                           "ftp://h/api/"s,
                           "h/api/"s,
                           "/api/"s,
                           "http:///api/"s,
                           "http://h/api"s,
                           "http://h/"s,
                           "http://h/apis/"s,
                           "http://h/myapi/"s,
                           "http://h/api/?x=/api/"s,
                           "http://h/?/api/"s,
                           "http://h/#/api/"s,
                           "http://u:p@h/api/"s,
                           "http://@h/api/"s,
                           "http://h h/api/"s,
                           "http://h/a b/api/"s,
                           "http://h:x/api/"s,
                           "http://h\n/api/"s,
                           "http://h/\0/api/"s,
                           " http://h/api/"s,
                           "http://h/api/ "s}) {
    EXPECT_FALSE(UpdateServer::At(root)) << root;
  }
}

}  // namespace
}  // namespace DeviceList
