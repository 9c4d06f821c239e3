#include <gtest/gtest.h>

#include <string>

#include "devicelist/http/URLEncode.h"

namespace DeviceList {
namespace {

TEST(URLEncode, EncodesASegment) {
  EXPECT_EQ(URLEncode("My Device/1"), "My%20Device%2f1");
  EXPECT_EQ(URLEncode("a-b_c.d~e"), "a-b_c.d~e");
  EXPECT_EQ(URLEncode("a:b"), "a%3ab");
  EXPECT_EQ(URLEncode(""), "");
}

TEST(URLEncode, LeavesLettersDigitsAndFifteenMarks) {
  const std::string kept = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789!$&'()*+,-.;=_~";
  EXPECT_EQ(URLEncode(kept), kept);
  int encoded = 0;
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    const auto result = URLEncode(text);
    if (kept.find(text) != std::string::npos) {
      EXPECT_EQ(result, text);
      continue;
    }
    char expected[4];
    std::snprintf(expected, sizeof(expected), "%%%02x", static_cast<unsigned>(byte));
    EXPECT_EQ(result, expected);
    ++encoded;
  }
  EXPECT_EQ(encoded, 256 - 26 - 26 - 10 - 15);
}

}  // namespace
}  // namespace DeviceList
