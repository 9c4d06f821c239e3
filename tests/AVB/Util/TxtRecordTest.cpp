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
  const auto items = Read(test::TxtBytes({"a=1", "b=2", "a=3"}));
  ASSERT_EQ(3U, items.size());
  EXPECT_EQ("a", items[0].key);
  EXPECT_EQ("b", items[1].key);
  EXPECT_EQ("a", items[2].key);
  EXPECT_EQ("3", items[2].value);
  EXPECT_EQ("1", GetValue(items, "a"));
}

TEST(TxtRecord, AMissingKeyReadsLikeAnEmptyValue) {
  const auto items = Read(test::TxtBytes({"empty=", "bare"}));
  EXPECT_EQ("", GetValue(items, "empty"));
  EXPECT_EQ("", GetValue(items, "bare"));
  EXPECT_EQ("", GetValue(items, "missing"));
}

TEST(TxtRecord, KeysAreComparedByteForByte) {
  EXPECT_EQ("", GetValue(Read(test::TxtBytes({"UID=1"})), "uid"));
}

TEST(TxtRecord, ValuesAreBytes) {
  const auto items = Read(test::TxtBytes({std::string("k=\xff\0=\n", 6)}));
  EXPECT_EQ(std::string("\xff\0=\n", 4), GetValue(items, "k"));
}

TEST(TxtRecord, ReadingEndsAtTheFirstItemThatTheLibraryRefuses) {
  std::string bytes = test::TxtBytes({"a=1", "b=2"});
  bytes += static_cast<char>(200);  // promises more bytes than follow
  bytes += "c=3";
  const auto items = Read(bytes);
  ASSERT_EQ(2U, items.size());
  EXPECT_EQ("a", items[0].key);
  EXPECT_EQ("b", items[1].key);
}

TEST(TxtRecord, AKeyAsLongAsAnItemIsReadLikeAnyOther) {
  const std::string longest(255, 'k');
  const auto items = Read(test::TxtBytes({"a=1", longest, "b=2"}));
  ASSERT_EQ(3U, items.size());
  EXPECT_EQ(longest, items[1].key);
  EXPECT_EQ("", items[1].value);
  EXPECT_EQ("2", items[2].value);
}

TEST(TxtRecord, AnEmptyOrMissingRecordHasNoItems) {
  EXPECT_TRUE(ReadTxtRecord(0, "").empty());
  EXPECT_TRUE(ReadTxtRecord(10, nullptr).empty());
}

}  // namespace
}  // namespace vorn
