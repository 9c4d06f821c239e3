#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>

#include "devicelist/HTTPPoller.h"
#include "tests/support/Eventually.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using vorn::testing::Eventually;
using vorn::testing::Exchange;
using vorn::testing::LoopbackServer;

using Tag = vorn::optional<std::string>;

class HTTPRedirectTest : public ::testing::Test {
 protected:
  vorn::optional<HTTPAnswer> Get(const std::string& target, const Tag& etag = {}) {
    return fPoller.DoRequest(fServer.Url(target), etag);
  }

  void Redirect(const std::string& target, const std::string& location, int status = 302) {
    fServer.Reply(target, status, "moved", {"Location: " + location});
  }

  LoopbackServer fServer;
  HTTPPoller fPoller;
};

TEST_F(HTTPRedirectTest, FollowsEachKindToTheSameHost) {
  fServer.Reply("/end", 200, "end");
  for (const int status : {301, 302, 303, 307, 308}) {
    Redirect("/x", "/end", status);
    const auto answer = Get("/x", Tag("1"));
    ASSERT_TRUE(answer) << status;
    EXPECT_EQ(answer->first, "end");
    EXPECT_EQ(answer->second.statusCode, 200);
    EXPECT_THAT(fServer.Requests().back().ValuesOf("If-None-Match"), ElementsAre("1"));
  }
}

TEST_F(HTTPRedirectTest, FollowsRelativeAndWholeLocationsAndAnotherPort) {
  LoopbackServer other;
  other.Reply("/end", 200, "other");
  fServer.Reply("/a/end", 200, "end");
  Redirect("/a/relative", "end");
  Redirect("/whole", fServer.Url("/a/end"));
  Redirect("/port", other.Url("/end"));
  EXPECT_EQ(Get("/a/relative")->first, "end");
  EXPECT_EQ(Get("/whole")->first, "end");
  EXPECT_EQ(Get("/port")->first, "other");
}

TEST_F(HTTPRedirectTest, NeverGoesToAnotherHost) {
  LoopbackServer other("127.0.0.2", 0);
  for (const auto& location :
       {other.Url("/"), "//127.0.0.2:" + other.PortText() + "/",
        "http://localhost:" + fServer.PortText() + "/", "http://u:p@127.0.0.1:" + fServer.PortText() + "/",
        "http://127.0.0.1:" + fServer.PortText() + "@127.0.0.2:" + other.PortText() + "/",
        "ftp://127.0.0.1/"s, "file:///etc/passwd"s, "http://"s}) {
    Redirect("/x", location);
    const auto before = fServer.RequestCount();
    EXPECT_FALSE(Get("/x")) << location;
    EXPECT_EQ(fServer.RequestCount(), before + 1) << location;
  }
  EXPECT_EQ(other.ConnectionCount(), 0);
}

TEST_F(HTTPRedirectTest, GoesToHTTPSOnTheSameHost) {
  // The peer speaks no TLS, so there is no answer; but it was asked.
  Redirect("/x", "https://127.0.0.1:" + fServer.PortText() + "/");
  fServer.HandleOthers([](Exchange& exchange) { exchange.Close(); });
  LoopbackServer tls;
  Redirect("/y", "https://127.0.0.1:" + tls.PortText() + "/");
  HTTPPoller poller;
  auto request =
      std::async(std::launch::async, [&] { return poller.DoRequest(fServer.Url("/y"), {}).has_value(); });
  EXPECT_TRUE(Eventually([&] { return tls.ConnectionCount() == 1; }));
  poller.Cancel();
  EXPECT_FALSE(request.get());
  EXPECT_EQ(tls.RequestCount(), 0U);
}

TEST_F(HTTPRedirectTest, FollowsFiveAndNotASixth) {
  for (int i = 0; i < 6; ++i) Redirect("/" + std::to_string(i), "/" + std::to_string(i + 1));
  fServer.Reply("/6", 200, "end");
  EXPECT_EQ(Get("/1")->first, "end");
  EXPECT_THAT(fServer.Targets(), ElementsAre("/1", "/2", "/3", "/4", "/5", "/6"));
  EXPECT_FALSE(Get("/0"));
  EXPECT_THAT(fServer.Targets(), SizeIs(12));
  Redirect("/loop", "/loop");
  EXPECT_FALSE(Get("/loop"));
  EXPECT_THAT(fServer.Targets(), SizeIs(18));
}

TEST_F(HTTPRedirectTest, PutsAllHopsUnderOneDeadline) {
  fServer.Handle("/loop", [](Exchange& exchange) {
    exchange.Pause(150ms);
    exchange.Reply(302, {}, {"Location: /loop"});
  });
  HTTPPoller poller(nullptr, 400ms);
  EXPECT_FALSE(poller.DoRequest(fServer.Url("/loop"), {}));
  EXPECT_LE(fServer.RequestCount(), 3U);
}

TEST_F(HTTPRedirectTest, TakesAStatusWithNothingToFollowForAnAnswer) {
  fServer.Reply("/x", 302, "nowhere");
  EXPECT_EQ(Get("/x")->second.statusCode, 302);
  Redirect("/x", "/other", 304);
  EXPECT_EQ(Get("/x")->second.statusCode, 304);
  Redirect("/x", "/other", 300);
  EXPECT_EQ(Get("/x")->second.statusCode, 300);
  EXPECT_EQ(fServer.RequestCount(), 3U);
}

}  // namespace
}  // namespace DeviceList
