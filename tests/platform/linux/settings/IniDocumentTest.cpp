#include <gtest/gtest.h>

#include <random>

#include "platform/linux/settings/IniDocument.h"

namespace vorn {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Value = IniDocument::Value;

IniDocument::Values ValuesOf(const std::string& text) {
  const auto document = IniDocument::Parse(text);
  return document ? document->ReadAll() : IniDocument::Values();
}

TEST(IniDocumentTest, ReadsPlainAndQuotedTexts) {
  const auto values = ValuesOf(
      "a = plain text \r\nb=\"x, \\\"y\\\" \\\\ \\n\\r\\t\\x41\\xfF\"\n[General]\nc=1.0.0+5, "
      "1.1.0+2\nd=\ne=\"\"\nf=a,,\"b\"\n");
  EXPECT_EQ(values.at("a"), Value{"plain text"});
  EXPECT_EQ(values.at("b"), Value{"x, \"y\" \\ \n\r\tA\xff"});
  EXPECT_EQ(values.at("c"), (Value{"1.0.0+5", "1.1.0+2"}));
  EXPECT_EQ(values.at("d"), Value{});
  EXPECT_EQ(values.at("e"), Value{""});
  EXPECT_EQ(values.at("f"), (Value{"a", "", "b"}));
}

TEST(IniDocumentTest, LeavesValuesWithFaultyQuotesOut) {
  for (const char* value : {"\"open", "\"a\" b", "\"\\", "\"\\q\"", "\"\\x4\"", "\"\\xgg\"", "\"a\",\"b"}) {
    const auto values = ValuesOf("bad=" + std::string(value) + "\ngood=1\n");
    EXPECT_EQ(values.size(), 1U) << value;
    EXPECT_TRUE(values.contains("good")) << value;
  }
}

TEST(IniDocumentTest, KnowsATextThatIsNotOurs) {
  for (const std::string& text :
       {"a=\0b"s, "no equals sign\n"s, "[x]\na=1\n[y\n"s, "\xff\xfe[\0G\0e\0n\0"s, std::string(4096, '\0')}) {
    EXPECT_FALSE(IniDocument::Parse(text)) << text;
  }
  EXPECT_TRUE(IniDocument::Parse(""));
  EXPECT_TRUE(IniDocument::Parse("\n ; remark\n# remark\n[x]\n=\n")->UnreadableLines().empty());
}

TEST(IniDocumentTest, SkipsLinesThatCannotBeReadAndKeepsThem) {
  const std::string text = "stray\n[General\na=1\n[broken\nb=2\n\0\0\nc=\"open\nd=4\nstray"s;
  auto document = IniDocument::Parse(text);
  ASSERT_TRUE(document);
  EXPECT_EQ(document->UnreadableLines(), (std::vector<std::size_t>{1, 2, 4, 6, 7, 9}));
  EXPECT_EQ(document->ReadAll().size(), 3U);
  document->Set("b", {"3"});
  document->Set("c", {"4"});
  const std::string changed = "stray\n[General\na=1\n[broken\nb=3\n\0\0\nc=\"open\nd=4\nstray\nc=4\n"s;
  EXPECT_EQ(document->Text(), changed);
  EXPECT_EQ(ValuesOf(changed).at("c"), Value{"4"});
}

TEST(IniDocumentTest, FindsTheGroupWhoseBracketIsNotClosed) {
  const auto values = ValuesOf("[x]\na=1\n[General\nb=2\n[y]\n[General");
  EXPECT_EQ(values.size(), 1U);
  EXPECT_EQ(values.at("b"), Value{"2"});
}

TEST(IniDocumentTest, TakesTheLastLineOfAKeyThatCanBeRead) {
  auto document = IniDocument::Parse("a=1\na=\"open\n");
  EXPECT_EQ(document->ReadAll().at("a"), Value{"1"});
  document->Set("a", {"2"});
  EXPECT_EQ(document->Text(), "a=2\na=\"open\n");
}

TEST(IniDocumentTest, KeepsAByteOrderMarkAndTheEndsOfLines) {
  auto document = IniDocument::Parse("\xef\xbb\xbf[General]\r\na=1\r\n\r\n[x]\r\nb=2");
  ASSERT_TRUE(document);
  EXPECT_TRUE(document->UnreadableLines().empty());
  document->Set("a", {"3"});
  document->Set("c", {"4"});
  EXPECT_EQ(document->Text(), "\xef\xbb\xbf[General]\r\na=3\r\nc=4\r\n\r\n[x]\r\nb=2\n");
  auto marked = IniDocument::Parse("\xef\xbb\xbf");
  marked->Set("a", {"1"});
  EXPECT_EQ(marked->Text(), "\xef\xbb\xbf[General]\na=1\n");
}

TEST(IniDocumentTest, IgnoresOtherGroupsAndTakesTheLastOfSeveralLines) {
  const auto values = ValuesOf("[x]\na=1\n[General]\nb=1\nb=2\n[y]\nb=3\n[General]\nc=4\n");
  EXPECT_FALSE(values.contains("a"));
  EXPECT_EQ(values.at("b"), Value{"2"});
  EXPECT_EQ(values.at("c"), Value{"4"});
}

TEST(IniDocumentTest, ChangesNothingButItsOwnLines) {
  auto document = IniDocument::Parse("; top\n\n[General]\na=1\nnot/ours=2\n\n[x]\na=3\n");
  ASSERT_TRUE(document);
  document->Set("a", {"9"});
  document->Set("new", {"x", "y"});
  document->Set("new", {"z"});
  EXPECT_EQ(document->Text(), "; top\n\n[General]\na=9\nnot/ours=2\nnew=z\n\n[x]\na=3\n");
}

TEST(IniDocumentTest, MakesTheGroupWhereItIsMissing) {
  auto empty = IniDocument::Parse("");
  empty->Set("a", {"1"});
  EXPECT_EQ(empty->Text(), "[General]\na=1\n");
  auto others = IniDocument::Parse("[x]\nb=1\n");
  others->Set("a", {"1"});
  EXPECT_EQ(others->Text(), "[General]\na=1\n[x]\nb=1\n");
  auto headless = IniDocument::Parse("b=1\n[x]\nc=1\n");
  headless->Set("a", {"1"});
  EXPECT_EQ(headless->Text(), "b=1\na=1\n[x]\nc=1\n");
}

TEST(IniDocumentTest, BringsAnyBytesBack) {
  std::mt19937 random(5);  // NOLINT(cert-msc51-cpp): the same texts in every run
  IniDocument document;
  IniDocument::Values expected;
  for (int i = 0; i < 500; ++i) {
    std::string key(random() % 40, '\0');
    for (char& c : key) c = static_cast<char>(random());
    Value value(random() % 4);
    for (auto& text : value) {
      text.resize(random() % 60);
      for (char& c : text) c = static_cast<char>(random() % 2 == 0 ? random() : ' ' + random() % 64);
    }
    document.Set(key, value);
    expected[key] = value;
  }
  EXPECT_TRUE(ValuesOf(document.Text()) == expected);
}

TEST(IniDocumentTest, SurvivesAnyInput) {
  std::mt19937 random(9);  // NOLINT(cert-msc51-cpp): the same texts in every run
  constexpr std::string_view kAlphabet = "ab=,\"\\x4[]; \n\r.General\0\xef\xbb\xbf"sv;
  for (int i = 0; i < 20000; ++i) {
    std::string text(random() % 80, '\0');
    for (char& c : text) c = kAlphabet[random() % kAlphabet.size()];
    auto document = IniDocument::Parse(text);
    if (!document) continue;
    const auto before = document->ReadAll();
    const auto unreadable = document->UnreadableLines().size();
    document->Set("key", {"value"});
    const auto again = IniDocument::Parse(document->Text());
    ASSERT_TRUE(again) << text;
    auto after = again->ReadAll();
    EXPECT_EQ(after.at("key"), Value{"value"}) << text;
    after.erase("key");
    EXPECT_TRUE(after == before) << text;
    EXPECT_EQ(again->UnreadableLines().size(), unreadable) << text;
  }
}

}  // namespace
}  // namespace vorn
