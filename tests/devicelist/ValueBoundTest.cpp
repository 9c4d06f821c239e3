#include <gtest/gtest.h>

#include <string>

#include "devicelist/ValueBound.h"
#include "foundation/Strings.h"

namespace DeviceList {
namespace {

std::string Repeated(const std::string& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string Cut(std::string value) {
  CutToBound(value);
  return value;
}

TEST(ValueBound, LeavesATextOfTheBoundAndCutsALongerOne) {
  const std::string longest(kMaxValueBytes, 'x');
  EXPECT_EQ(Cut(""), "");
  EXPECT_EQ(Cut(longest), longest);
  EXPECT_EQ(Cut(longest + "y"), longest);
}

TEST(ValueBound, CutsBetweenCharacters) {
  for (const std::string character : {"x", "\u00e4", "\u20ac", "\U0001F39B"}) {
    for (std::size_t shift = 0; shift < 4; ++shift) {
      const auto text = std::string(shift, 'x') + Repeated(character, kMaxValueBytes);
      const auto cut = Cut(text);
      EXPECT_TRUE(vorn::IsUTF8(cut)) << character << shift;
      EXPECT_EQ(cut, text.substr(0, cut.size()));
      EXPECT_LE(cut.size(), kMaxValueBytes);
      EXPECT_GT(cut.size() + character.size(), kMaxValueBytes) << "one more would have fit";
    }
  }
}

TEST(ValueBound, CutsBytesThatAreNoTextToo) {
  EXPECT_EQ(Cut(std::string(kMaxValueBytes + 1, '\xff')).size(), kMaxValueBytes);
  EXPECT_EQ(Cut(std::string(2 * kMaxValueBytes, '\x80')).size(), kMaxValueBytes - 4);
}

TEST(ValueBound, GivesTheMemoryBack) {
  EXPECT_LT(Cut(std::string(1024 * 1024, 'x')).capacity(), 2 * kMaxValueBytes);
}

}  // namespace
}  // namespace DeviceList
