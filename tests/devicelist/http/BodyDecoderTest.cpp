#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "devicelist/http/BodyDecoder.h"
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

}  // namespace
}  // namespace DeviceList
