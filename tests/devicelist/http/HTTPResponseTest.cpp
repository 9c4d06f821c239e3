#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "devicelist/http/HTTPResponse.h"

namespace DeviceList {
namespace {

using namespace std::string_literals;

static_assert(std::is_nothrow_move_constructible_v<HeaderFields>);

HeaderFields FieldsOf(std::initializer_list<std::string> lines) {
  HeaderFields fields;
  for (const auto& line : lines) fields.AddLine(line);
  return fields;
}

TEST(HeaderFieldsTest, FindsAFieldWhateverTheCaseOfItsName) {
  for (const char* spelled : {"ETag", "etag", "ETAG", "eTaG"}) {
    const auto fields = FieldsOf({spelled + ": \"a1\"\r\n"s});
    ASSERT_TRUE(fields.Find("ETag")) << spelled;
    EXPECT_EQ(*fields.Find("etag"), "\"a1\"") << spelled;
  }
}

TEST(HeaderFieldsTest, HasNothingUnderANameThatIsOnlyAPartOfAnother) {
  const auto fields = FieldsOf({"ETags: x\r\n", "X-ETag: y\r\n"});
  EXPECT_FALSE(fields.Find("ETag"));
  EXPECT_FALSE(fields.Find(""));
}

TEST(HeaderFieldsTest, TakesBlanksOffTheEndsOfAValueAndKeepsThoseWithin) {
  EXPECT_EQ(*FieldsOf({"A: \t b  c \t\r\n"}).Find("a"), "b  c");
  EXPECT_EQ(*FieldsOf({"A:b"}).Find("a"), "b");
  EXPECT_EQ(*FieldsOf({"A: b:c\n"}).Find("a"), "b:c");
}

TEST(HeaderFieldsTest, KeepsAnEmptyValue) {
  const auto fields = FieldsOf({"ETag:\r\n"});
  ASSERT_TRUE(fields.Find("ETag"));
  EXPECT_EQ(*fields.Find("ETag"), "");
}

TEST(HeaderFieldsTest, JoinsFieldsOfOneNameInOrder) {
  EXPECT_EQ(*FieldsOf({"A: 1\r\n", "B: x\r\n", "a: 2\r\n"}).Find("A"), "1, 2");
}

TEST(HeaderFieldsTest, GoesOnWithAFoldedLine) {
  EXPECT_EQ(*FieldsOf({"A: 1\r\n", "  2\r\n", "\t3\r\n"}).Find("A"), "1 2 3");
  EXPECT_EQ(*FieldsOf({"A:\r\n", " 2\r\n"}).Find("A"), "2");
}

TEST(HeaderFieldsTest, LeavesOutAFoldedLineThatFollowsNoField) {
  EXPECT_FALSE(FieldsOf({" A: 1\r\n"}).Find("A"));
  EXPECT_EQ(*FieldsOf({"A: 1\r\n", "garbage\r\n", " 2\r\n"}).Find("A"), "1");
}

TEST(HeaderFieldsTest, LeavesOutWhatIsNoField) {
  for (const auto& line :
       {""s, "\r\n"s, "HTTP/1.1 200 OK\r\n"s, "no colon\r\n"s, ": no name\r\n"s, "a b: c\r\n"s, "a : c\r\n"s,
        "a\0b: c\r\n"s, "a: b\0c\r\n"s, "a: b\rc\r\n"s, "a: b\nc\r\n"s}) {
    EXPECT_FALSE(HeaderFields::Parse(line)) << line;
    const auto fields = FieldsOf({line});
    for (const auto& name : {""s, line, line.substr(0, line.find(':')), "a"s})
      EXPECT_FALSE(fields.Find(name)) << line;
  }
}

TEST(HeaderFieldsTest, KeepsBytesBeyondASCIIAsTheyCame) {
  EXPECT_EQ(*FieldsOf({"A: \xc3\xff\x80\r\n"}).Find("A"), "\xc3\xff\x80");
}

TEST(HeaderFieldsTest, ForgetsEverythingWhenCleared) {
  auto fields = FieldsOf({"A: 1\r\n"});
  fields.Clear();
  fields.AddLine(" 2\r\n");
  EXPECT_FALSE(fields.Find("A"));
}

}  // namespace
}  // namespace DeviceList
