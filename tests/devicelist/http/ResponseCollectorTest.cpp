#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "devicelist/http/ResponseCollector.h"
#include "tests/support/LoopbackServer.h"

namespace DeviceList {
namespace {

using vorn::testing::Deflate;
using vorn::testing::DeflateWithoutHeader;
using vorn::testing::Gzip;
using Coding = BodyDecoder::Coding;

constexpr std::size_t kBound = 100'000;

struct Packed {
  Coding coding;
  std::string (*pack)(std::string_view);
};

std::string AsItIs(std::string_view bytes) {
  return std::string(bytes);
}

class BodyDecoderTest : public ::testing::TestWithParam<Packed> {
 protected:
  static std::string Pack(std::string_view bytes) { return GetParam().pack(bytes); }

  BodyDecoder fDecoder{GetParam().coding};
  std::string fBody;
};

TEST_P(BodyDecoderTest, GivesTheBytesBack) {
  for (const std::string text : {"", "x", "{\"value\":\"1\"}"}) {
    BodyDecoder decoder(GetParam().coding);
    std::string body;
    EXPECT_TRUE(decoder.Decode(Pack(text), body, kBound));
    EXPECT_TRUE(decoder.IsComplete());
    EXPECT_EQ(body, text);
  }
}

TEST_P(BodyDecoderTest, TakesPiecesOfAnyLength) {
  std::string text;
  for (int i = 0; i < 20'000; ++i) text += std::to_string(i);
  for (const char byte : Pack(text)) ASSERT_TRUE(fDecoder.Decode({&byte, 1}, fBody, text.size()));
  EXPECT_TRUE(fDecoder.IsComplete());
  EXPECT_EQ(fBody, text);
}

TEST_P(BodyDecoderTest, IsCompleteBeforeAnythingCame) {
  EXPECT_TRUE(fDecoder.IsComplete());
  EXPECT_TRUE(fDecoder.Decode({}, fBody, kBound));
  EXPECT_TRUE(fDecoder.IsComplete());
}

TEST_P(BodyDecoderTest, StopsAtTheBound) {
  const auto packed = Pack(std::string(kBound, 'x'));
  EXPECT_TRUE(fDecoder.Decode(packed, fBody, kBound));
  BodyDecoder other(GetParam().coding);
  std::string body;
  EXPECT_FALSE(other.Decode(packed, body, kBound - 1));
  EXPECT_LT(body.size(), kBound);
}

INSTANTIATE_TEST_SUITE_P(, BodyDecoderTest,
                         ::testing::Values(Packed{Coding::kNone, AsItIs}, Packed{Coding::kGzip, Gzip},
                                           Packed{Coding::kDeflate, Deflate},
                                           Packed{Coding::kDeflate, DeflateWithoutHeader}));

class EncodedBodyTest : public BodyDecoderTest {};

TEST_P(EncodedBodyTest, IsNotCompleteUntilItsEnd) {
  const auto packed = Pack("a text that is long enough to be cut anywhere");
  for (const char byte : packed.substr(0, packed.size() - 1)) {
    ASSERT_TRUE(fDecoder.Decode({&byte, 1}, fBody, kBound));
    ASSERT_FALSE(fDecoder.IsComplete());
  }
  EXPECT_TRUE(fDecoder.Decode(packed.substr(packed.size() - 1), fBody, kBound));
  EXPECT_TRUE(fDecoder.IsComplete());
}

TEST_P(EncodedBodyTest, EndsWhereTheEncodingEnds) {
  EXPECT_TRUE(fDecoder.Decode(Pack("text") + "behind", fBody, kBound));
  EXPECT_TRUE(fDecoder.Decode("more", fBody, kBound));
  EXPECT_TRUE(fDecoder.IsComplete());
  EXPECT_EQ(fBody, "text");
}

TEST_P(EncodedBodyTest, RefusesWhatIsNotInTheCoding) {
  EXPECT_FALSE(fDecoder.Decode("no such coding at all", fBody, kBound));
}

INSTANTIATE_TEST_SUITE_P(, EncodedBodyTest,
                         ::testing::Values(Packed{Coding::kGzip, Gzip}, Packed{Coding::kDeflate, Deflate},
                                           Packed{Coding::kDeflate, DeflateWithoutHeader}));

TEST(ResponseCollectorTest, GathersFieldsAndBody) {
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

TEST(ResponseCollectorTest, BeginsAfreshWithEachResponseOfARequest) {
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

TEST(ResponseCollectorTest, TakesNoFieldsFromTrailers) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("ETag: late\r\n"));
  EXPECT_FALSE(collector.TakeAnswer().second.allHeaderFields.Find("ETag"));
}

TEST(ResponseCollectorTest, TakesABodyOfExactlyTheBoundAndNotOneByteMore) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddBody(std::string(ResponseCollector::kMaxBodyBytes, 'x')));
  EXPECT_FALSE(collector.AddBody("x"));
  collector.Reset();
  EXPECT_FALSE(collector.AddBody(std::string(ResponseCollector::kMaxBodyBytes + 1, 'x')));
}

TEST(ResponseCollectorTest, TakesAHeaderOfExactlyTheBoundAndNotOneByteMore) {
  ResponseCollector collector;
  const std::string half = "A: " + std::string(ResponseCollector::kMaxHeaderBytes / 2 - 5, 'x') + "\r\n";
  EXPECT_TRUE(collector.AddHeaderLine(half));
  EXPECT_TRUE(collector.AddHeaderLine(half));
  EXPECT_FALSE(collector.AddHeaderLine("\n"));
}

TEST(ResponseCollectorTest, CountsInterimResponsesAndTrailersAsHeader) {
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

TEST(ResponseCollectorTest, AcceptsOnlyEncodingsThatItCanUndoOrThatAreNone) {
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

TEST(ResponseCollectorTest, RefusesEncodingsUponEncodingsOverSeveralLines) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("Content-Encoding: gzip\r\n"));
  EXPECT_FALSE(collector.AddHeaderLine("Content-Encoding: gzip\r\n"));
}

TEST(ResponseCollectorTest, DecodesTheBodyOfTheLastResponseOnly) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 103 Early Hints\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("Content-Encoding: gzip\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("HTTP/1.1 200 OK\r\n"));
  EXPECT_TRUE(collector.AddHeaderLine("\r\n"));
  EXPECT_TRUE(collector.AddBody("plain"));
  EXPECT_EQ(collector.TakeAnswer().first, "plain");
}

TEST(ResponseCollectorTest, IsCompleteWithTheBlankLineAndTheWholeEncodedBody) {
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

TEST(ResponseCollectorTest, BoundsAnEncodedBodyThatGivesOutNothing) {
  ResponseCollector collector;
  EXPECT_TRUE(collector.AddHeaderLine("Content-Encoding: gzip\r\n"));
  // A gzip header whose file name does not end.
  EXPECT_TRUE(collector.AddBody({"\x1f\x8b\x08\x08\0\0\0\0\0\x03", 10}));
  EXPECT_TRUE(collector.AddBody(std::string(ResponseCollector::kMaxBodyBytes - 10, 'x')));
  EXPECT_FALSE(collector.AddBody("x"));
}

}  // namespace
}  // namespace DeviceList
