#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "devicelist/Datastore.h"
#include "foundation/Strings.h"

namespace DeviceList {
namespace {

using namespace std::string_literals;

std::string ValueIn(std::string_view body) {
  const auto value = GetDatastoreValue(body);
  return value ? *value : "(none)";
}

std::string VersionIn(std::string_view body) {
  const auto version = GetFirstReleaseVersion(body);
  return version ? *version : "(none)";
}

std::string Nested(int depth, const std::string& inner) {
  return std::string(static_cast<std::size_t>(depth), '[') + inner +
         std::string(static_cast<std::size_t>(depth), ']');
}

TEST(DatastoreValueTest, IsTheMemberValueOfTheObject) {
  EXPECT_EQ(ValueIn(R"({"value":"1.2.3"})"), "1.2.3");
  EXPECT_EQ(ValueIn(" \r\n{ \"a\" : 1 , \"value\" : \"x\" , \"b\" : [ {} ] }\t\n"), "x");
  EXPECT_EQ(ValueIn(R"({"value":""})"), "");
  EXPECT_EQ(ValueIn(R"({"value":"a\"\\\/\u00e4\ud83c\udfb5"})"), "a\"\\/\xc3\xa4\xf0\x9f\x8e\xb5");
}

TEST(DatastoreValueTest, IsEmptyWithoutSuchAMember) {
  for (const char* body :
       {"{}", "[]", R"(["value"])", R"("value")", "1", "null", R"({"Value":"x"})", R"({"a":{"value":"x"}})",
        R"([{"value":"x"}])", R"({"a":"value"})", R"({"value ":"x"})"})
    EXPECT_EQ(ValueIn(body), "(none)") << body;
}

TEST(DatastoreValueTest, IsEmptyForAnotherTypeThanString) {
  for (const char* body :
       {R"({"value":1})", R"({"value":-1.5})", R"({"value":true})", R"({"value":null})", R"({"value":["x"]})",
        R"({"value":{"value":"x"}})", R"({"value":18446744073709551616})"})
    EXPECT_EQ(ValueIn(body), "(none)") << body;
}

TEST(DatastoreValueTest, IsEmptyForABodyThatIsNoJson) {
  for (const auto& body :
       {""s, "garbage"s, "{"s, R"({"value":"x")"s, R"({"value":"x"}})"s, R"({"value":"x"} x)"s,
        R"({'value':'x'})"s, R"({"value":"x",})"s, R"({value:"x"})"s, "\0"s, "{\"value\":\"x\"}\0"s,
        R"(/* */{"value":"x"})"s, R"({"value":"a
b"})"s,
        R"({"value":"\x"})"s, R"({"value":"x","n":1e999})"s, R"({"value":NaN})"s, R"({"value":"\ud800"})"s})
    EXPECT_EQ(ValueIn(body), "(none)") << body;
}

TEST(DatastoreValueTest, IsEmptyForInvalidUTF8AnywhereInTheBody) {
  for (const auto& text : {"\xff"s, "\xc3"s, "\xc0\x80"s, "\xed\xa0\x80"s, "\xf8\x88\x80\x80\x80"s}) {
    EXPECT_EQ(ValueIn("{\"value\":\"" + text + "\"}"), "(none)");
    EXPECT_EQ(ValueIn("{\"value\":\"x\",\"" + text + "\":1}"), "(none)");
  }
}

TEST(DatastoreValueTest, EndsAtTheFirstNUL) {
  EXPECT_EQ(ValueIn(R"({"value":"ab\u0000cd"})"), "ab");
  EXPECT_EQ(ValueIn(R"({"value":"\u0000"})"), "");
  EXPECT_EQ(ValueIn("{\"value\":\"a\0b\"}"s), "(none)");  // a raw one is not JSON
  EXPECT_EQ(ValueIn(R"({"value\u0000":"x"})"), "(none)");
}

TEST(DatastoreValueTest, IsTheLastOfSeveral) {
  EXPECT_EQ(ValueIn(R"({"value":"a","value":"b"})"), "b");
  EXPECT_EQ(ValueIn(R"({"value":1,"value":"b"})"), "b");
  EXPECT_EQ(ValueIn(R"({"value":"a","value":1})"), "(none)");
  EXPECT_EQ(ValueIn(R"({"value":"a","value":{"value":"b"}})"), "(none)");
  EXPECT_EQ(ValueIn(R"({"value":"a","value":[]})"), "(none)");
  EXPECT_EQ(ValueIn(R"({"value":"a","x":{"value":"b"},"y":"c"})"), "a");
}

TEST(DatastoreValueTest, PassesOverAByteOrderMark) {
  EXPECT_EQ(ValueIn("\xef\xbb\xbf{\"value\":\"x\"}"), "x");
  EXPECT_EQ(ValueIn("\xef\xbb{\"value\":\"x\"}"), "(none)");
  EXPECT_EQ(ValueIn("\xff\xfe{\0}\0"s), "(none)");
}

TEST(DatastoreValueTest, RefusesNestingBeyondTheBound) {
  EXPECT_EQ(ValueIn(R"({"value":"x","y":)" + Nested(kMaxJsonDepth - 1, "") + "}"), "x");
  EXPECT_EQ(ValueIn(R"({"value":"x","y":)" + Nested(kMaxJsonDepth, "") + "}"), "(none)");
  EXPECT_EQ(ValueIn(std::string(1024 * 1024, '[')), "(none)");
  std::string objects;
  while (objects.size() < 1024 * 1024) objects += R"({"value":)";
  EXPECT_EQ(ValueIn(objects), "(none)");
}

TEST(DatastoreValueTest, SurvivesEveryBeginningOfABody) {
  const std::string body = "\xef\xbb\xbf{\"a\":[1,-2.5e3,true,null,\"\\u00e4\"],\"value\":\"x\"}";
  for (std::size_t length = 0; length < body.size(); ++length)
    EXPECT_EQ(ValueIn(std::string_view(body).substr(0, length)), "(none)");
  EXPECT_EQ(ValueIn(body), "x");
}

TEST(FirstReleaseVersionTest, IsTheVersionOfTheFirstElement) {
  EXPECT_EQ(VersionIn(R"([{"version":"1.2.3+4"}])"), "1.2.3+4");
  EXPECT_EQ(VersionIn(R"([{"a":[{"version":"0"}],"version":"1","b":{"version":"2"}},{"version":"3"}])"), "1");
}

TEST(FirstReleaseVersionTest, LooksAtNoOtherElement) {
  for (const char* body : {R"([{},{"version":"1"}])", R"(["x",{"version":"1"}])", R"([null,{"version":"1"}])",
                           R"([[],{"version":"1"}])", R"([[{"version":"1"}]])", R"([1,{"version":"1"}])"})
    EXPECT_EQ(VersionIn(body), "(none)") << body;
}

TEST(FirstReleaseVersionTest, IsEmptyForAnythingElse) {
  for (const auto& body :
       {""s, "x"s, "[]"s, "{}"s, R"({"version":"1"})"s, R"([{"version":1}])"s, R"([{"version":null}])"s,
        R"([{"Version":"1"}])"s, R"([{"version":"1"}]])"s, R"([{"version":"1"},)"s, R"(["version"])"s,
        R"({"0":{"version":"1"}})"s, R"({"a":[{"version":"1"}]})"s, "[{\"version\":\"\xff\"}]"s})
    EXPECT_EQ(VersionIn(body), "(none)") << body;
}

TEST(FirstReleaseVersionTest, FollowsTheCommonRules) {
  EXPECT_EQ(VersionIn(R"([{"version":"1\u0000x"}])"), "1");
  EXPECT_EQ(VersionIn(R"([{"version":"1","version":"2"}])"), "2");
  EXPECT_EQ(VersionIn(R"([{"version":"1","version":2}])"), "(none)");
  EXPECT_EQ(VersionIn("\xef\xbb\xbf[{\"version\":\"1\"}]"), "1");
  EXPECT_EQ(VersionIn(R"([{"version":"1"},)" + Nested(kMaxJsonDepth - 1, "") + "]"), "1");
  EXPECT_EQ(VersionIn(R"([{"version":"1"},)" + Nested(kMaxJsonDepth, "") + "]"), "(none)");
}

std::string Repeated(const std::string& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string Cut(std::string value) {
  CutToBound(value);
  return value;
}

TEST(ValueBoundTest, LeavesATextOfTheBoundAndCutsALongerOne) {
  const std::string longest(kMaxValueBytes, 'x');
  EXPECT_EQ(Cut(""), "");
  EXPECT_EQ(Cut(longest), longest);
  EXPECT_EQ(Cut(longest + "y"), longest);
}

TEST(ValueBoundTest, CutsBetweenCharacters) {
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

TEST(ValueBoundTest, CutsBytesThatAreNoTextToo) {
  EXPECT_EQ(Cut(std::string(kMaxValueBytes + 1, '\xff')).size(), kMaxValueBytes);
  EXPECT_EQ(Cut(std::string(2 * kMaxValueBytes, '\x80')).size(), kMaxValueBytes - 4);
}

TEST(ValueBoundTest, GivesTheMemoryBack) {
  EXPECT_LT(Cut(std::string(1024 * 1024, 'x')).capacity(), 2 * kMaxValueBytes);
}

}  // namespace
}  // namespace DeviceList
