#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <utility>

#include "devicelist/http/HTTPPoller.h"
#include "tests/support/Eventually.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/ScopedEnvironment.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::SizeIs;
using vorn::testing::Eventually;
using vorn::testing::Exchange;
using vorn::testing::LoopbackServer;
using vorn::testing::ScopedEnvironment;

using Tag = vorn::optional<std::string>;

class HTTPPollerRedirectTest : public ::testing::Test {
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

TEST_F(HTTPPollerRedirectTest, FollowsEachKindToTheSameHost) {
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

TEST_F(HTTPPollerRedirectTest, FollowsRelativeAndWholeLocationsAndAnotherPort) {
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

TEST_F(HTTPPollerRedirectTest, NeverGoesToAnotherHost) {
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

/// True if the client starts a secured connection to the server, which has none, when it asks for the URL.
bool BeginsTLS(HTTPPoller& poller, const std::string& url, const LoopbackServer& tls) {
  auto request = std::async(std::launch::async, [&] { return poller.DoRequest(url, {}).has_value(); });
  const bool begun = Eventually([&] { return tls.ConnectionCount() == 1; });
  poller.Cancel();
  EXPECT_FALSE(request.get());
  EXPECT_EQ(tls.RequestCount(), 0U);
  return begun;
}

TEST_F(HTTPPollerRedirectTest, GoesToHTTPSOnTheSameHost) {
  LoopbackServer tls;
  Redirect("/x", "https://127.0.0.1:" + tls.PortText() + "/");
  EXPECT_TRUE(BeginsTLS(fPoller, fServer.Url("/x"), tls));
}

TEST_F(HTTPPollerRedirectTest, FollowsAReferenceToTheSameResource) {
  for (const char* location : {"", "#", "#top"}) {
    LoopbackServer server;
    bool asked = false;  // only by the server's one connection
    server.Handle("/a/x?y", [&asked, location](Exchange& exchange) {
      if (std::exchange(asked, true)) return exchange.Reply(200, "end");
      exchange.Reply(302, {}, {std::string("Location: ") + location});
    });
    const auto answer = fPoller.DoRequest(server.Url("/a/x?y"), {});
    ASSERT_TRUE(answer) << location;
    EXPECT_EQ(answer->first, "end") << location;
    EXPECT_THAT(server.Targets(), ElementsAre("/a/x?y", "/a/x?y"));
  }
}

// ---- A unit that discovery knows the addresses of ----

class HTTPUnitRedirectTest : public HTTPPollerRedirectTest {
 protected:
  HTTPUnitRedirectTest() {
    fHosts->Replace({{"studio-a.local", {"127.0.0.1", "127.0.0.2"}}, {"studio-b.local", {"127.0.0.3"}}});
    fServer.Reply("/end", 200, "end");
  }

  /// The body of the answer where "/x" of studio-a.local redirects to this.
  std::string BodyBehind(const std::string& location) {
    Redirect("/x", location);
    const auto answer = fUnitPoller.DoRequest("http://studio-a.local:" + fServer.PortText() + "/x", {});
    return answer ? answer->first : "no answer";
  }

  const std::shared_ptr<LocalHosts> fHosts = std::make_shared<LocalHosts>();
  HTTPPoller fUnitPoller{fHosts};
};

TEST_F(HTTPUnitRedirectTest, FollowsTheUnitUnderAnotherSpelling) {
  for (const std::string host : {"studio-a.local", "studio-a.local.", "STUDIO-A.Local", "127.0.0.1"}) {
    const auto authority = host + ":" + fServer.PortText();
    EXPECT_EQ(BodyBehind("http://" + authority + "/end"), "end") << host;
    EXPECT_EQ(BodyBehind("//" + authority + "/end"), "end") << host;
    EXPECT_THAT(fServer.Requests().back().ValuesOf("Host"), ElementsAre(authority));
  }
  LoopbackServer other("127.0.0.2", 0);
  other.Reply("/end", 200, "other");
  EXPECT_EQ(BodyBehind(other.Url("/end")), "other");
}

TEST_F(HTTPUnitRedirectTest, FollowsFromANameToAnAddressAndBack) {
  Redirect("/1", "http://studio-a.local.:" + fServer.PortText() + "/end");
  EXPECT_EQ(BodyBehind(fServer.Url("/1")), "end");
}

TEST_F(HTTPUnitRedirectTest, FollowsTheUnitToHTTPS) {
  for (const std::string host : {"studio-a.local.", "127.0.0.1"}) {
    LoopbackServer tls;
    Redirect("/x", "https://" + host + ":" + tls.PortText() + "/");
    HTTPPoller poller(fHosts);
    EXPECT_TRUE(BeginsTLS(poller, "http://studio-a.local:" + fServer.PortText() + "/x", tls)) << host;
  }
}

TEST_F(HTTPUnitRedirectTest, NeverGoesToAnotherUnit) {
  LoopbackServer other("127.0.0.3", 0);
  for (const std::string host : {"127.0.0.3", "studio-b.local", "localhost", "127.0.0.4", "127.0.0.1.",
                                 "local", "a.studio-a.local", "studio-a.local.."}) {
    const auto before = fServer.RequestCount();
    EXPECT_EQ(BodyBehind("http://" + host + ":" + other.PortText() + "/"), "no answer") << host;
    EXPECT_EQ(fServer.RequestCount(), before + 1) << host;
  }
  fHosts->Replace({{"studio-a.local", {"127.0.0.1"}}});
  LoopbackServer former("127.0.0.2", 0);
  EXPECT_EQ(BodyBehind(former.Url("/")), "no answer");
  EXPECT_EQ(other.ConnectionCount() + former.ConnectionCount(), 0);
}

TEST_F(HTTPUnitRedirectTest, UsesNoProxyOnTheWay) {
  LoopbackServer proxy;
  const ScopedEnvironment environment("http_proxy", proxy.Url(""));
  EXPECT_EQ(BodyBehind(fServer.Url("/end")), "end");
  EXPECT_EQ(proxy.ConnectionCount(), 0);
}

// ---- The update server ----

class HTTPServerRedirectTest : public HTTPPollerRedirectTest {
 protected:
  std::string BodyBehind(const std::string& location) {
    Redirect("/x", location);
    const auto answer = fAnywhere.DoRequest(fServer.Url("/x"), {});
    return answer ? answer->first : "no answer";
  }

  HTTPPoller fAnywhere{nullptr, kRequestTimeout, HTTPPoller::Redirects::kAnywhere};
};

TEST_F(HTTPServerRedirectTest, FollowsToAnyHost) {
  LoopbackServer other("127.0.0.2", 0);
  LoopbackServer third;
  other.Reply("/end", 200, "other");
  third.Reply("/end", 200, "third");
  other.Reply("/on", 302, {}, {"Location: http://localhost:" + third.PortText() + "/end"});
  EXPECT_EQ(BodyBehind(other.Url("/end")), "other");
  EXPECT_EQ(BodyBehind(other.Url("/on")), "third");
}

TEST_F(HTTPServerRedirectTest, FollowsToHTTPSOnAnyHost) {
  LoopbackServer tls("127.0.0.2", 0);
  Redirect("/x", "https://127.0.0.2:" + tls.PortText() + "/");
  EXPECT_TRUE(BeginsTLS(fAnywhere, fServer.Url("/x"), tls));
}

TEST_F(HTTPServerRedirectTest, FollowsNothingButHTTPAndFiveTimes) {
  LoopbackServer other("127.0.0.2", 0);
  for (const auto& location : {"ftp://127.0.0.2/"s, "file:///etc/passwd"s, "http://"s,
                               "http://u:p@127.0.0.2:" + other.PortText() + "/"})
    EXPECT_EQ(BodyBehind(location), "no answer") << location;
  EXPECT_EQ(other.ConnectionCount(), 0);
  other.Reply("/", 302, {}, {"Location: " + other.Url("/")});
  EXPECT_EQ(BodyBehind(other.Url("/")), "no answer");
  EXPECT_EQ(other.RequestCount(), 5U);
}

TEST_F(HTTPPollerRedirectTest, FollowsFiveAndNotASixth) {
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

TEST_F(HTTPPollerRedirectTest, PutsAllHopsUnderOneDeadline) {
  fServer.Handle("/loop", [](Exchange& exchange) {
    exchange.Pause(150ms);
    exchange.Reply(302, {}, {"Location: /loop"});
  });
  HTTPPoller poller(nullptr, 400ms);
  EXPECT_FALSE(poller.DoRequest(fServer.Url("/loop"), {}));
  EXPECT_LE(fServer.RequestCount(), 3U);
}

TEST_F(HTTPPollerRedirectTest, TakesAStatusWithNothingToFollowForAnAnswer) {
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
