#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "AVB/Util/TxtRecord.h"
#include "tests/AVB/Util/ScriptedDNSSD.h"

namespace vorn {
namespace {

std::vector<TxtRecordKeyValue> Read(const std::string& bytes) {
  return ReadTxtRecord(static_cast<std::uint16_t>(bytes.size()), bytes.data());
}

TEST(TxtRecord, KeepsItemsInOrderAndKeysThatComeAgain) {
  const auto items = Read(testing::TxtBytes({"a=1", "b=2", "a=3"}));
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].key, "a");
  EXPECT_EQ(items[1].key, "b");
  EXPECT_EQ(items[2].key, "a");
  EXPECT_EQ(items[2].value, "3");
  EXPECT_EQ(GetValue(items, "a"), "1");
}

TEST(TxtRecord, AMissingKeyReadsLikeAnEmptyValue) {
  const auto items = Read(testing::TxtBytes({"empty=", "bare"}));
  EXPECT_EQ(GetValue(items, "empty"), "");
  EXPECT_EQ(GetValue(items, "bare"), "");
  EXPECT_EQ(GetValue(items, "missing"), "");
}

TEST(TxtRecord, KeysAreComparedByteForByte) {
  EXPECT_EQ(GetValue(Read(testing::TxtBytes({"UID=1"})), "uid"), "");
}

TEST(TxtRecord, ValuesAreBytes) {
  const auto items = Read(testing::TxtBytes({std::string("k=\xff\0=\n", 6)}));
  EXPECT_EQ(GetValue(items, "k"), std::string("\xff\0=\n", 4));
}

TEST(TxtRecord, ReadingEndsAtTheFirstItemThatTheLibraryRefuses) {
  std::string bytes = testing::TxtBytes({"a=1", "b=2"});
  bytes += static_cast<char>(200);  // announces more bytes than follow
  bytes += "c=3";
  const auto items = Read(bytes);
  ASSERT_EQ(items.size(), 2U);
  EXPECT_EQ(items[0].key, "a");
  EXPECT_EQ(items[1].key, "b");
}

TEST(TxtRecord, AKeyAsLongAsAnItemIsReadLikeAnyOther) {
  const std::string longest(255, 'k');
  const auto items = Read(testing::TxtBytes({"a=1", longest, "b=2"}));
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[1].key, longest);
  EXPECT_EQ(items[1].value, "");
  EXPECT_EQ(items[2].value, "2");
}

TEST(TxtRecord, AnEmptyOrMissingRecordHasNoItems) {
  EXPECT_TRUE(ReadTxtRecord(0, "").empty());
  EXPECT_TRUE(ReadTxtRecord(10, nullptr).empty());
}

}  // namespace
}  // namespace vorn
