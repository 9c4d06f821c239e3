#include <gtest/gtest.h>

#include <string>

#include "devicelist/http/ResponseCollector.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList {
namespace {

TEST(ResponseCollector, GathersFieldsAndBody) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("ETag: 1\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("\r\n"));
  EXPECT_TRUE(collector.AddBody("ab"));
  EXPECT_TRUE(collector.AddBody("c"));
  const auto answer = collector.TakeAnswer();
  EXPECT_EQ(answer.first, "abc");
  EXPECT_EQ(*answer.second.allHeaderFields.Find("etag"), "1");
}

TEST(ResponseCollector, BeginsAfreshWithEachResponseOfARequest) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 103 Early Hints\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("ETag: early\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("\r\n"));
  EXPECT_TRUE(collector.AddBody("early"));
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("A: 1\r\n"));
  const auto answer = collector.TakeAnswer();
  EXPECT_EQ(answer.first, "");
  EXPECT_FALSE(answer.second.allHeaderFields.Find("ETag"));
  EXPECT_TRUE(answer.second.allHeaderFields.Find("A"));
}

TEST(ResponseCollector, TakesNoFieldsFromTrailers) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("ETag: late\r\n"));
  EXPECT_FALSE(collector.TakeAnswer().second.allHeaderFields.Find("ETag"));
}

TEST(ResponseCollector, TakesABodyOfExactlyTheBoundAndNotOneByteMore) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddBody(std::string(ResponseCollector::kMaxBodyBytes, 'x')));
  EXPECT_FALSE(collector.AddBody("x"));
  collector.Reset();
  EXPECT_FALSE(collector.AddBody(std::string(ResponseCollector::kMaxBodyBytes + 1, 'x')));
}

TEST(ResponseCollector, TakesAHeaderOfExactlyTheBoundAndNotOneByteMore) {
  ResponseCollector collector;
  const std::string half = "A: " + std::string(ResponseCollector::kMaxHeaderBytes / 2 - 5, 'x') + "\r\n";
  EXPECT_TRUE(collector.AddHeaderLine(half));
  EXPECT_TRUE(collector.AddHeaderLine(half));
  EXPECT_FALSE(collector.AddHeaderLine("\n"));
}

TEST(ResponseCollector, CountsInterimResponsesAndTrailersAsHeader) {
  ResponseCollector collector;
  bool taken = true;
  std::size_t bytes = 0;
  const std::string line = "HTTP/1.1 100 Continue\r\n";
  while (taken && bytes < 10 * ResponseCollector::kMaxHeaderBytes) {
    taken = collector.AddHeaderLine(line) && collector.AddHeaderLine("\r\n") &&
            collector.AddHeaderLine("T: 1\r\n");
    bytes += line.size() + 8;
  }
  EXPECT_FALSE(taken);
  EXPECT_LE(bytes, ResponseCollector::kMaxHeaderBytes + line.size() + 8);
}

TEST(ResponseCollector, AcceptsOnlyEncodingsThatItCanUndoOrThatAreNone) {
  for (const char* line :
       {"Content-Encoding: gzip", "content-encoding: X-GZIP", "Content-Encoding: deflate",
        "Content-Encoding: identity", "Content-Encoding:", "Content-Encoding: identity, gzip",
        "Content-Encoding: none", "CONTENT-ENCODING: UTF-8", "Content-Encoding: binary, utf-8, deflate",
        "Transfer-Encoding: chunked", "Transfer-Encoding: Chunked, identity"}) {
    ResponseCollector collector;
    EXPECT_TRUE(collector.AddHeaderLine(line)) << line;
  }
  for (const char* line :
       {"Content-Encoding: br", "Content-Encoding: zstd", "Content-Encoding: Compress",
        "Content-Encoding: gzip, gzip", "Content-Encoding: gzip,deflate", "Content-Encoding: none, br",
        "Transfer-Encoding: gzip", "Transfer-Encoding: chunked, br", "Transfer-Encoding: none"}) {
    ResponseCollector collector;
    EXPECT_FALSE(collector.AddHeaderLine(line)) << line;
  }
}

TEST(ResponseCollector, RefusesEncodingsUponEncodingsOverSeveralLines) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("Content-Encoding: gzip\r\n"));
  EXPECT_FALSE(collector.AddHeaderLine("Content-Encoding: gzip\r\n"));
}

TEST(ResponseCollector, DecodesTheBodyOfTheLastResponseOnly) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 103 Early Hints\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("Content-Encoding: gzip\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("\r\n"));
  EXPECT_TRUE(collector.AddBody("plain"));
  EXPECT_EQ(collector.TakeAnswer().first, "plain");
}

TEST(ResponseCollector, IsCompleteWithTheBlankLineAndTheWholeEncodedBody) {
  ResponseCollector collector;
  EXPECT_FALSE(collector.IsComplete());
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("Content-Encoding: gzip\r\n"));
  EXPECT_FALSE(collector.IsComplete());
  EXPECT_TRUE(collector.AddHeaderLine("\r\n"));
  EXPECT_TRUE(collector.IsComplete());
  const auto body = vorn::testing::Gzip("body");
  EXPECT_TRUE(collector.AddBody(body.substr(0, 8)));
  EXPECT_FALSE(collector.IsComplete());
  EXPECT_TRUE(collector.AddBody(body.substr(8)));
  EXPECT_TRUE(collector.IsComplete());
}

TEST(ResponseCollector, BoundsAnEncodedBodyThatGivesOutNothing) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("Content-Encoding: gzip\r\n"));
  // A gzip header whose file name does not end.
  EXPECT_TRUE(collector.AddBody({"\x1f\x8b\x08\x08\0\0\0\0\0\x03", 10}));
  EXPECT_TRUE(collector.AddBody(std::string(ResponseCollector::kMaxBodyBytes - 10, 'x')));
  EXPECT_FALSE(collector.AddBody("x"));
}

}  // namespace
}  // namespace DeviceList
