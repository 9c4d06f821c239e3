#include <gtest/gtest.h>

#include <random>

#include "platform/linux/settings/IniDocument.h"

namespace vorn {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using Value = IniDocument::Value;

IniDocument Parsed(const std::string& text) {
  auto document = IniDocument::Parse(text);
  EXPECT_TRUE(document) << text;
  return document ? std::move(*document) : IniDocument();
}

TEST(IniDocumentTest, ReadsPlainAndQuotedTexts) {
  const auto document = Parsed(
      "a = plain text \r\nb=\"x, \\\"y\\\" \\\\ \\n\\r\\t\\x41\\xfF\"\n[General]\nc=1.0.0+5, "
      "1.1.0+2\nd=\ne=\"\"\nf=a,,\"b\"\n");
  EXPECT_EQ(document.Find("a"), Value{"plain text"});
  EXPECT_EQ(document.Find("b"), Value{"x, \"y\" \\ \n\r\tA\xff"});
  EXPECT_EQ(document.Find("c"), (Value{"1.0.0+5", "1.1.0+2"}));
  EXPECT_EQ(document.Find("d"), Value{});
  EXPECT_EQ(document.Find("e"), Value{""});
  EXPECT_EQ(document.Find("f"), (Value{"a", "", "b"}));
}

TEST(IniDocumentTest, LeavesValuesWithFaultyQuotesOut) {
  for (const char* value : {"\"open", "\"a\" b", "\"\\", "\"\\q\"", "\"\\x4\"", "\"\\xgg\"", "\"a\",\"b"}) {
    const auto document = Parsed("bad=" + std::string(value) + "\ngood=1\n");
    EXPECT_FALSE(document.Find("bad")) << value;
    EXPECT_TRUE(document.Find("good")) << value;
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
  const auto document = Parsed(text);
  EXPECT_EQ(document.UnreadableLines(), (std::vector<std::size_t>{1, 2, 4, 6, 7, 9}));
  EXPECT_EQ(document.Find("a"), Value{"1"});
  EXPECT_FALSE(document.Find("c"));
  EXPECT_EQ(document.Find("d"), Value{"4"});
  const std::string changed = "stray\n[General\na=1\n[broken\nb=3\n\0\0\nc=\"open\nd=4\nstray\nc=4\n"s;
  EXPECT_EQ(document.With({{"b", {"3"}}, {"c", {"4"}}}), changed);
  EXPECT_EQ(Parsed(changed).Find("c"), Value{"4"});
}

TEST(IniDocumentTest, FindsTheGroupWhoseBracketIsNotClosed) {
  const auto document = Parsed("[x]\na=1\n[General\nb=2\n[y]\n[General");
  EXPECT_FALSE(document.Find("a"));
  EXPECT_EQ(document.Find("b"), Value{"2"});
}

TEST(IniDocumentTest, TakesTheLastLineOfAKeyThatCanBeRead) {
  const auto document = Parsed("a=1\na=\"open\n");
  EXPECT_EQ(document.Find("a"), Value{"1"});
  EXPECT_EQ(document.With({{"a", {"2"}}}), "a=2\na=\"open\n");
}

TEST(IniDocumentTest, KeepsAByteOrderMarkAndTheEndsOfLines) {
  const auto document = Parsed("\xef\xbb\xbf[General]\r\na=1\r\n\r\n[x]\r\nb=2");
  EXPECT_TRUE(document.UnreadableLines().empty());
  EXPECT_EQ(document.With({{"a", {"3"}}, {"c", {"4"}}}),
            "\xef\xbb\xbf[General]\r\na=3\r\nc=4\r\n\r\n[x]\r\nb=2\n");
  EXPECT_EQ(Parsed("\xef\xbb\xbf").With({{"a", {"1"}}}), "\xef\xbb\xbf[General]\na=1\n");
  EXPECT_EQ(Parsed("\xef\xbb\xbf").With({}), "\xef\xbb\xbf");
  EXPECT_EQ(Parsed("\xef\xbb\xbf"
                   "a=1")
                .With({{"a", {"2"}}, {"b", {"3"}}}),
            "\xef\xbb\xbf"
            "a=2\nb=3\n");
}

TEST(IniDocumentTest, IgnoresOtherGroupsAndTakesTheLastOfSeveralLines) {
  const auto document = Parsed("[x]\na=1\n[General]\nb=1\nb=2\n[y]\nb=3\n[General]\nc=4\n");
  EXPECT_FALSE(document.Find("a"));
  EXPECT_EQ(document.Find("b"), Value{"2"});
  EXPECT_EQ(document.Find("c"), Value{"4"});
}

TEST(IniDocumentTest, ChangesNothingButItsOwnLines) {
  const auto document = Parsed("; top\n\n[General]\na=1\nnot/ours=2\n\n[x]\na=3\n");
  EXPECT_EQ(document.With({{"a", {"9"}}, {"new", {"z"}}}),
            "; top\n\n[General]\na=9\nnot/ours=2\nnew=z\n\n[x]\na=3\n");
  EXPECT_EQ(document.With({}), document.Text());
}

TEST(IniDocumentTest, MakesTheGroupWhereItIsMissing) {
  EXPECT_EQ(IniDocument().With({{"a", {"1"}}}), "[General]\na=1\n");
  EXPECT_EQ(Parsed("[x]\nb=1\n").With({{"a", {"1"}}}), "[General]\na=1\n[x]\nb=1\n");
  EXPECT_EQ(Parsed("b=1\n[x]\nc=1\n").With({{"a", {"1"}}}), "b=1\na=1\n[x]\nc=1\n");
}

TEST(IniDocumentTest, FindsNoPartOfAKey) {
  const auto document = Parsed("abc=1\nab = 2\na\t=3\n");
  EXPECT_EQ(document.Find("abc"), Value{"1"});
  EXPECT_EQ(document.Find("ab"), Value{"2"});
  EXPECT_EQ(document.Find("a"), Value{"3"});
  EXPECT_FALSE(document.Find("abcd"));
  EXPECT_FALSE(document.Find(""));
  EXPECT_FALSE(IniDocument().Find("a"));
}

TEST(IniDocumentTest, BringsAnyBytesBack) {
  std::mt19937 random(5);  // NOLINT(cert-msc51-cpp): the same texts in every run
  IniDocument::Changes expected;
  for (int i = 0; i < 500; ++i) {
    std::string key(random() % 40, '\0');
    for (char& c : key) c = static_cast<char>(random());
    Value value(random() % 4);
    for (auto& text : value) {
      text.resize(random() % 60);
      for (char& c : text) c = static_cast<char>(random() % 2 == 0 ? random() : ' ' + random() % 64);
    }
    expected[key] = value;
  }
  const auto document = Parsed(IniDocument().With(expected));
  for (const auto& [key, value] : expected) EXPECT_EQ(document.Find(key), value);
  EXPECT_EQ(document.With(expected), document.Text());
}

TEST(IniDocumentTest, SurvivesAnyInput) {
  std::mt19937 random(9);  // NOLINT(cert-msc51-cpp): the same texts in every run
  constexpr std::string_view kAlphabet = "ab=,\"\\x4[]; \n\r.General\0\xef\xbb\xbf"sv;
  for (int i = 0; i < 20000; ++i) {
    std::string text(random() % 80, '\0');
    for (char& c : text) c = kAlphabet[random() % kAlphabet.size()];
    const auto document = IniDocument::Parse(text);
    if (!document) continue;
    const auto again = IniDocument::Parse(document->With({{"key", {"value"}}}));
    ASSERT_TRUE(again) << text;
    EXPECT_EQ(again->Find("key"), Value{"value"}) << text;
    for (const char* key : {"", "a", "b", "x4", "4", "General"}) {
      EXPECT_EQ(again->Find(key), document->Find(key)) << text;
    }
    EXPECT_EQ(again->UnreadableLines().size(), document->UnreadableLines().size()) << text;
    EXPECT_EQ(IniDocument::Parse(again->With({{"key", {"b"}}}))->Find("key"), Value{"b"}) << text;
  }
}

}  // namespace
}  // namespace vorn
