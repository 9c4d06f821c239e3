#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "devicelist/http/HTTPPoller.h"
#include "devicelist/http/ResponseCollector.h"
#include "tests/support/Eventually.h"
#include "tests/support/LoopbackServer.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryFolder.h"

namespace DeviceList {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using vorn::testing::Exchange;
using vorn::testing::Gzip;
using vorn::testing::LoopbackServer;
using vorn::testing::ScopedEnvironment;
using vorn::testing::StopsServer;
using vorn::testing::TemporaryFolder;

using Tag = vorn::optional<std::string>;

static_assert(!std::is_copy_constructible_v<HTTPPoller> && !std::is_move_constructible_v<HTTPPoller>);
static_assert(kRequestTimeout == 30s && kMaxRedirects == 5);
static_assert(ResponseCollector::kMaxBodyBytes == 1048576 && ResponseCollector::kMaxHeaderBytes == 65536);

class HTTPPollerTest : public ::testing::Test {
 protected:
  vorn::optional<HTTPAnswer> Get(const std::string& target, const Tag& etag = {}) {
    return fPoller.DoRequest(fServer.Url(target), etag);
  }

  LoopbackServer fServer;
  HTTPPoller fPoller;
};

TEST_F(HTTPPollerTest, GivesBodyStatusAndHeader) {
  fServer.Reply("/x", 200, "hello", {"ETag: \"1\""});
  const auto answer = Get("/x");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->first, "hello");
  EXPECT_EQ(answer->second.statusCode, 200);
  EXPECT_EQ(*answer->second.allHeaderFields.Find("eTAG"), "\"1\"");
  EXPECT_EQ(fServer.Requests().at(0).method, "GET");
  EXPECT_EQ(fServer.Requests().at(0).target, "/x");
}

TEST_F(HTTPPollerTest, TakesEveryStatusForAnAnswer) {
  for (const int status : {200, 201, 204, 300, 400, 401, 403, 404, 407, 500, 503, 599}) {
    fServer.Handle("/x", [status](Exchange& exchange) {
      exchange.Send("HTTP/1.1 " + std::to_string(status) + " S\r\n" +
                    (status == 204 ? "" : "Content-Length: 0\r\n") + "\r\n");
    });
    const auto answer = Get("/x");
    ASSERT_TRUE(answer) << status;
    EXPECT_EQ(answer->second.statusCode, status);
    EXPECT_EQ(answer->first, "");
  }
}

TEST_F(HTTPPollerTest, KeepsEveryByteOfTheBody) {
  std::string body;
  for (int i = 0; i < 256; ++i) body += static_cast<char>(i);
  fServer.Reply("/x", 200, body);
  EXPECT_EQ(Get("/x")->first, body);
}

TEST_F(HTTPPollerTest, TakesABodyThatEndsWithTheConnection) {
  fServer.Handle("/x", [](Exchange& exchange) {
    exchange.Send("HTTP/1.0 200 OK\r\n\r\nold style");
    exchange.Close();
  });
  EXPECT_EQ(Get("/x")->first, "old style");
}

TEST_F(HTTPPollerTest, TakesABodyInChunksAndNoFieldsFromItsTrailer) {
  fServer.Handle("/x", [](Exchange& exchange) {
    exchange.Send(
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\nETag: t\r\n\r\n");
  });
  const auto answer = Get("/x");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->first, "abcde");
  EXPECT_FALSE(answer->second.allHeaderFields.Find("ETag"));
}

TEST_F(HTTPPollerTest, TakesTheFinalResponseAfterInterimOnes) {
  fServer.Handle("/x", [](Exchange& exchange) {
    exchange.Send(
        "HTTP/1.1 103 Early Hints\r\nETag: early\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx");
  });
  const auto answer = Get("/x");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->second.statusCode, 200);
  EXPECT_FALSE(answer->second.allHeaderFields.Find("ETag"));
}

// ---- URLs ----

TEST_F(HTTPPollerTest, RefusesEverythingButPlainHTTPWithoutTraffic) {
  const auto rest = "://127.0.0.1:" + fServer.PortText() + "/";
  for (const auto& scheme : {"https"s, "HTTP"s, "Http"s, "ftp"s, "httpx"s, "file"s, ""s, " http"s})
    EXPECT_FALSE(fPoller.DoRequest(scheme + rest, {})) << scheme;
  const auto host = "127.0.0.1:" + fServer.PortText() + "/";
  for (const auto& url :
       {""s, host, "//" + host, "http:" + host, "http:/" + host, "http:///" + host, "http://"s,
        "http://" + host + "a b", "http://" + host + "\r\nX: y", "http://" + host + "\0"s})
    EXPECT_FALSE(fPoller.DoRequest(url, {})) << url;
  EXPECT_EQ(fServer.ConnectionCount(), 0);
}

TEST_F(HTTPPollerTest, RefusesUrlsWithCredentialsWithoutTraffic) {
  const auto host = "127.0.0.1:" + fServer.PortText() + "/";
  for (const auto* user : {"u:p@", "u@", "@", ":p@", "a.local:80@"})
    EXPECT_FALSE(fPoller.DoRequest("http://" + (user + host), {})) << user;
  EXPECT_EQ(fServer.ConnectionCount(), 0);
}

TEST_F(HTTPPollerTest, ServesOnAfterARefusedUrl) {
  EXPECT_FALSE(fPoller.DoRequest("https://127.0.0.1/", {}));
  EXPECT_TRUE(Get("/x"));
}

// ---- Entity tags ----

TEST_F(HTTPPollerTest, SendsTheTagExactlyAsItStandsAndNoneWithoutOne) {
  EXPECT_TRUE(Get("/x"));
  for (const auto* tag : {"\"abc\"", "W/\"1, 2\"", "plain", "\xc3\xa4\xff", "a;b: c", "  lead"}) {
    EXPECT_TRUE(Get("/x", Tag(tag)));
    EXPECT_THAT(fServer.Requests().back().ValuesOf("If-None-Match"), ElementsAre(tag));
  }
  EXPECT_TRUE(Get("/x"));
  EXPECT_THAT(fServer.Requests().front().ValuesOf("If-None-Match"), IsEmpty());
  EXPECT_THAT(fServer.Requests().back().ValuesOf("If-None-Match"), IsEmpty());
}

TEST_F(HTTPPollerTest, SendsAnEmptyTagAsAnEmptyField) {
  EXPECT_TRUE(Get("/x", Tag("")));
  EXPECT_THAT(fServer.Requests().back().headerLines, ::testing::Contains("If-None-Match:"));
}

TEST_F(HTTPPollerTest, DoesNotSendATagThatWouldEndItsLine) {
  for (const auto& tag : {"a\r\nX: y"s, "a\nX: y"s, "a\rb"s, "a\0b"s}) {
    EXPECT_TRUE(Get("/x", Tag(tag)));
    const auto request = fServer.Requests().back();
    EXPECT_THAT(request.ValuesOf("If-None-Match"), IsEmpty());
    EXPECT_THAT(request.ValuesOf("X"), IsEmpty());
  }
}

TEST_F(HTTPPollerTest, TakesA304WithoutBodyForAnAnswerWithAndWithoutALength) {
  for (const auto* length : {"", "Content-Length: 0\r\n", "Content-Length: 25\r\n"}) {
    fServer.Handle("/x", [length](Exchange& exchange) {
      exchange.Send("HTTP/1.1 304 Not Modified\r\n"s + length + "\r\n");
    });
    const auto answer = Get("/x", Tag("1"));
    ASSERT_TRUE(answer) << length;
    EXPECT_EQ(answer->second.statusCode, 304);
    EXPECT_EQ(answer->first, "");
  }
  EXPECT_EQ(fServer.ConnectionCount(), 1);
}

// ---- Connections ----

TEST_F(HTTPPollerTest, KeepsOneConnectionFromRequestToRequest) {
  for (int i = 0; i < 10; ++i) EXPECT_TRUE(Get("/" + std::to_string(i)));
  EXPECT_EQ(fServer.ConnectionCount(), 1);
}

TEST_F(HTTPPollerTest, HidesThatAKeptConnectionWasClosed) {
  fServer.Handle("/x", [](Exchange& exchange) {
    exchange.Reply(200, "x");
    exchange.Close();
  });
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(Get("/x")) << i;
  EXPECT_EQ(fServer.ConnectionCount(), 10);
}

TEST_F(HTTPPollerTest, TriesAgainWhenAKeptConnectionBreaksUnderARequest) {
  for (const bool reset : {false, true}) {
    LoopbackServer server;
    HTTPPoller poller;
    std::atomic<int> last{0};
    const StopsServer stops(server);
    server.Handle("/x", [&](Exchange& exchange) {
      if (last.exchange(exchange.Request().connection) != exchange.Request().connection) {
        exchange.Reply(200, "x");
      } else if (reset) {
        exchange.Reset();
      } else {
        exchange.Close();
      }
    });
    EXPECT_TRUE(poller.DoRequest(server.Url("/x"), {}));
    for (int i = 1; i <= 20; ++i) {
      EXPECT_TRUE(poller.DoRequest(server.Url("/x"), {})) << i;
      EXPECT_EQ(server.RequestCount(), static_cast<std::size_t>(1 + 2 * i));
      EXPECT_EQ(server.ConnectionCount(), 1 + i);
    }
  }
}

TEST_F(HTTPPollerTest, GivesNoAnswerWhenAFreshConnectionBreaks) {
  fServer.Handle("/close", [](Exchange& exchange) { exchange.Close(); });
  fServer.Handle("/reset", [](Exchange& exchange) { exchange.Reset(); });
  EXPECT_FALSE(HTTPPoller().DoRequest(fServer.Url("/close"), {}));
  EXPECT_FALSE(HTTPPoller().DoRequest(fServer.Url("/reset"), {}));
  EXPECT_EQ(fServer.RequestCount(), 2U);  // not tried again
}

TEST_F(HTTPPollerTest, GivesNoAnswerWhereNobodyListens) {
  EXPECT_FALSE(
      fPoller.DoRequest("http://127.0.0.1:" + std::to_string(vorn::testing::UnusedPort()) + "/", {}));
}

TEST_F(HTTPPollerTest, GivesNoAnswerForAnIncompleteOne) {
  const auto endEarly = [this](const std::string& bytes, bool reset) {
    fServer.Handle("/x", [=](Exchange& exchange) {
      exchange.Send(bytes);
      exchange.Pause(20ms);
      if (reset) {
        exchange.Reset();
      } else {
        exchange.Close();
      }
    });
    return Get("/x");
  };
  for (const bool reset : {false, true}) {
    EXPECT_FALSE(endEarly("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nabc", reset));
    EXPECT_FALSE(endEarly("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n", reset));
  }
  EXPECT_FALSE(endEarly("HTTP/1.1 200 OK\r\n\r\nabc", true));
}

TEST_F(HTTPPollerTest, GivesNoAnswerForWhatIsNoHTTP) {
  for (const auto& bytes : {"garbage\r\n\r\n"s, "\0\0\0\0\0\0\0\0"s, "SSH-2.0-x\r\n"s, "<html></html>"s,
                            "HTTP/1.1\r\n\r\n"s, "HTTP/1.1 abc OK\r\n\r\n"s, "HTTP/9.9 200 OK\r\n\r\n"s}) {
    fServer.Handle("/x", [=](Exchange& exchange) {
      exchange.Send(bytes);
      exchange.Close();
    });
    EXPECT_FALSE(Get("/x")) << bytes;
  }
}

TEST_F(HTTPPollerTest, LetsASecondThreadWaitForItsTurn) {
  std::atomic<int> inFlight{0};
  std::atomic<bool> overlapped{false};
  const StopsServer stops(fServer);
  fServer.Handle("/x", [&](Exchange& exchange) {
    if (++inFlight > 1) overlapped = true;
    exchange.Pause(5ms);
    --inFlight;
    exchange.Reply(200, "x");
  });
  std::atomic<int> answers{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 5; ++n) answers += Get("/x") ? 1 : 0;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(answers, 20);
  EXPECT_FALSE(overlapped);
  EXPECT_EQ(fServer.ConnectionCount(), 1);
}

// ---- Bounds ----

TEST_F(HTTPPollerTest, TakesABodyOfTheBoundAndRefusesALongerOne) {
  fServer.Reply("/fits", 200, std::string(ResponseCollector::kMaxBodyBytes, 'x'));
  fServer.Reply("/too-long", 200, std::string(ResponseCollector::kMaxBodyBytes + 1, 'x'));
  EXPECT_EQ(Get("/fits")->first.size(), ResponseCollector::kMaxBodyBytes);
  EXPECT_FALSE(Get("/too-long"));
}

TEST_F(HTTPPollerTest, CutsAnEndlessBody) {
  fServer.Handle("/plain", [](Exchange& exchange) {
    exchange.Send("HTTP/1.1 200 OK\r\n\r\n");
    while (exchange.Send(std::string(65536, 'x'))) {
    }
  });
  fServer.Handle("/chunks", [](Exchange& exchange) {
    exchange.Send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n");
    while (exchange.Send("10000\r\n" + std::string(65536, 'x') + "\r\n")) {
    }
  });
  EXPECT_FALSE(Get("/plain"));
  EXPECT_FALSE(Get("/chunks"));
}

TEST_F(HTTPPollerTest, CutsAnEndlessHeader) {
  fServer.Handle("/fields", [](Exchange& exchange) {
    exchange.Send("HTTP/1.1 200 OK\r\n");
    while (exchange.Send("X-Field: " + std::string(100, 'x') + "\r\n")) {
    }
  });
  fServer.Handle("/line", [](Exchange& exchange) {
    exchange.Send("HTTP/1.1 200 OK\r\nX-Field: ");
    while (exchange.Send(std::string(4096, 'x'))) {
    }
  });
  fServer.Handle("/interim", [](Exchange& exchange) {
    while (exchange.Send("HTTP/1.1 100 Continue\r\n\r\n")) {
    }
  });
  fServer.Handle("/trailer", [](Exchange& exchange) {
    exchange.Send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n");
    while (exchange.Send("X-Field: " + std::string(100, 'x') + "\r\n")) {
    }
  });
  for (const char* target : {"/fields", "/line", "/interim", "/trailer"}) EXPECT_FALSE(Get(target)) << target;
}

TEST_F(HTTPPollerTest, DecodesGzip) {
  fServer.Reply("/x", 200, Gzip("{\"value\":\"1\"}"), {"Content-Encoding: gzip"});
  EXPECT_EQ(Get("/x")->first, "{\"value\":\"1\"}");
  EXPECT_THAT(fServer.Requests().back().ValuesOf("Accept-Encoding"), ElementsAre("gzip, deflate"));
}

TEST_F(HTTPPollerTest, DecodesDeflateWithAndWithoutItsHeader) {
  fServer.Reply("/x", 200, vorn::testing::Deflate("a text"), {"Content-Encoding: deflate"});
  EXPECT_EQ(Get("/x")->first, "a text");
  fServer.Reply("/x", 200, vorn::testing::DeflateWithoutHeader("a text"), {"Content-Encoding: deflate"});
  EXPECT_EQ(Get("/x")->first, "a text");
}

TEST_F(HTTPPollerTest, CutsAGzipBomb) {
  const auto bomb = Gzip(std::string(64 * 1024 * 1024, '\0'));
  ASSERT_LT(bomb.size(), ResponseCollector::kMaxBodyBytes);
  fServer.Reply("/x", 200, bomb, {"Content-Encoding: gzip"});
  EXPECT_FALSE(Get("/x"));
  fServer.Reply("/x", 200, Gzip(bomb), {"Content-Encoding: gzip, gzip"});
  EXPECT_FALSE(Get("/x"));
}

TEST_F(HTTPPollerTest, GivesNoAnswerForBrokenOrUnaskedEncodings) {
  fServer.Reply("/x", 200, "no gzip at all", {"Content-Encoding: gzip"});
  EXPECT_FALSE(Get("/x"));
  const auto whole = Gzip("a body");
  fServer.Reply("/x", 200, whole.substr(0, whole.size() - 1), {"Content-Encoding: gzip"});
  EXPECT_FALSE(Get("/x"));
  for (const auto* coding : {"br", "zstd", "compress", "gzip, br"}) {
    fServer.Reply("/x", 200, Gzip("x"), {"Content-Encoding: "s + coding});
    EXPECT_FALSE(Get("/x")) << coding;
  }
}

TEST_F(HTTPPollerTest, ReadsABodyInNoKnownCodingAsItIs) {
  for (const auto* coding : {"none", "utf-8", "UTF8", "binary", "identity", "none, identity", ""}) {
    fServer.Reply("/x", 200, "{\"value\":\"1\"}", {"Content-Encoding: "s + coding});
    const auto answer = Get("/x");
    ASSERT_TRUE(answer) << coding;
    EXPECT_EQ(answer->first, "{\"value\":\"1\"}");
  }
  fServer.Reply("/x", 200, Gzip("text"), {"Content-Encoding: utf-8, gzip"});
  EXPECT_EQ(Get("/x")->first, "text");
  fServer.Reply("/endless", 200, std::string(ResponseCollector::kMaxBodyBytes + 1, 'x'),
                {"Content-Encoding: none"});
  EXPECT_FALSE(Get("/endless"));
}

TEST_F(HTTPPollerTest, TakesA304ThatNamesACodingForAnAnswer) {
  fServer.Handle("/x", [](Exchange& exchange) {
    exchange.Send("HTTP/1.1 304 Not Modified\r\nContent-Encoding: gzip\r\n\r\n");
  });
  EXPECT_TRUE(Get("/x", Tag("1")));
}

TEST_F(HTTPPollerTest, BoundsTheWholeRequestHoweverSlowlyThePeerAnswers) {
  const auto drip = [](const std::string& begin) {
    return [begin](Exchange& exchange) {
      exchange.Send(begin);
      while (exchange.Pause(20ms)) exchange.Send("x");
    };
  };
  fServer.Handle("/silent", [](Exchange& exchange) { exchange.Hang(); });
  fServer.Handle("/header", drip("HTTP/1.1 200 OK\r\nX: "));
  fServer.Handle("/body", drip("HTTP/1.1 200 OK\r\n\r\n"));
  HTTPPoller poller(nullptr, 300ms);
  for (const char* target : {"/silent", "/header", "/body"}) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(poller.DoRequest(fServer.Url(target), {})) << target;
    const auto taken = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(taken, 290ms) << target;
    EXPECT_LT(taken, 10s) << target;
  }
}

// ---- Nothing of the user's goes out ----

TEST_F(HTTPPollerTest, SendsNoCookiesCredentialsOrNetrc) {
  const TemporaryFolder folder;
  std::ofstream(folder.Path() / ".netrc") << "machine 127.0.0.1 login user password secret\n";
  const ScopedEnvironment home("HOME", folder.Path().string());
  HTTPPoller poller;
  fServer.Reply("/x", 401, {}, {"Set-Cookie: id=1; Path=/", "WWW-Authenticate: Basic realm=\"r\""});
  EXPECT_TRUE(poller.DoRequest(fServer.Url("/x"), {}));
  EXPECT_TRUE(poller.DoRequest(fServer.Url("/x"), {}));
  EXPECT_EQ(fServer.RequestCount(), 2U);
  for (const auto& request : fServer.Requests()) {
    for (const auto& line : request.headerLines) {
      const auto name = line.substr(0, line.find(':'));
      EXPECT_TRUE(name == "Host" || name == "Accept" || name == "Accept-Encoding") << line;
    }
  }
}

}  // namespace
}  // namespace DeviceList
