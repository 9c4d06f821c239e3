#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "devicelist/http/Url.h"

namespace DeviceList {
namespace {

using namespace std::string_literals;

TEST(UrlTest, KnowsItsPieces) {
  const auto url = ParseUrl("http://Studio-A.local:8080/datastore/x?y=1#z");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->scheme, "http");
  EXPECT_EQ(url->host, "studio-a.local");
  EXPECT_EQ(url->port, "8080");
  EXPECT_EQ(url->path, "/datastore/x");
  EXPECT_EQ(url->text.find('#'), std::string::npos);
}

TEST(UrlTest, HasTheSchemesOwnPortByDefault) {
  EXPECT_EQ(ParseUrl("http://a/")->port, "80");
  EXPECT_EQ(ParseUrl("https://a/")->port, "443");
}

TEST(UrlTest, RefusesWhatIsNoHTTPUrl) {
  for (const auto& text : {""s, "a"s, "a/b"s, "/a"s, "ftp://a/"s, "file:///etc/passwd"s, "gopher://a/"s,
                           "http:///x"s, "http://"s, "http://a:99999/"s, "http://a:x/"s, "javascript:1"s}) {
    EXPECT_FALSE(ParseUrl(text)) << text;
  }
}

TEST(UrlTest, APlainOneBeginsWithHttpInSmallLetters) {
  EXPECT_EQ(ParsePlainUrl("http://A:8080/x")->text, ParseUrl("http://A:8080/x")->text);
  for (const char* text : {"https://a/", "HTTP://a/", "Http://a/", " http://a/", "//a/", "http://u@a/"}) {
    EXPECT_FALSE(ParsePlainUrl(text)) << text;
  }
}

TEST(UrlTest, RefusesCredentials) {
  for (const char* text : {"http://u:p@a/", "http://u@a/", "http://@a/", "http://:@a/", "http://a@b@c/"}) {
    EXPECT_FALSE(ParseUrl(text)) << text;
  }
  EXPECT_TRUE(ParseUrl("http://a/u@b"));
}

TEST(UrlTest, RefusesWhiteSpaceAndControlCharacters) {
  for (const auto& text : {"http://a/b c"s, " http://a/"s, "http://a/\r\nX: y"s, "http://a/\tb"s,
                           "http://a/\x7f"s, "http://a/b\0c"s, "http://a b/"s}) {
    EXPECT_FALSE(ParseUrl(text)) << text;
  }
}

TEST(UrlTest, RefusesControlCharactersEscapedInTheHost) {
  for (const char* text :
       {"http://.%7f.1/", "http://a%7F/", "http://a%0a/", "http://a%20b/", "http://a%00/"}) {
    EXPECT_FALSE(ParseUrl(text)) << text;
  }
  const auto base = ParseUrl("http://a/");
  EXPECT_FALSE(ResolveUrl(*base, "//a%7f/"));
  EXPECT_TRUE(ParseUrl("http://a.local/%7f"));
  EXPECT_TRUE(ResolveUrl(*base, "/a//b%20c"));
  // An escape would hide the real host.
  EXPECT_FALSE(ParseUrl("http://%61.local/"));
  EXPECT_FALSE(ParseUrl("http://2%36/"));
  EXPECT_FALSE(ParseUrl("http:/2%36://a/"));
}

TEST(UrlTest, ResolvesReferences) {
  const auto base = ParseUrl("http://a:81/b/c?d");
  ASSERT_TRUE(base);
  EXPECT_EQ(ResolveUrl(*base, "/x")->text, "http://a:81/x");
  EXPECT_EQ(ResolveUrl(*base, "x")->text, "http://a:81/b/x");
  EXPECT_EQ(ResolveUrl(*base, "http://a:82/")->port, "82");
  EXPECT_EQ(ResolveUrl(*base, "HTTPS://A/")->scheme, "https");
  EXPECT_EQ(ResolveUrl(*base, "//other/x")->host, "other");
  EXPECT_EQ(ResolveUrl(*base, "/with blank")->text, "http://a:81/with%20blank");
}

TEST(UrlTest, ResolvesReferencesToTheSameResource) {
  const auto base = ParseUrl("http://a:81/b/../c?d");
  ASSERT_TRUE(base);
  for (const char* reference : {"", "#", "#x", "#/y"})
    EXPECT_EQ(ResolveUrl(*base, reference)->text, "http://a:81/b/../c?d") << reference;
  EXPECT_EQ(ResolveUrl(*base, "?e")->text, "http://a:81/c?e");
  EXPECT_EQ(ResolveUrl(*base, "?e#x")->text, "http://a:81/c?e");
}

TEST(UrlTest, KeepsDotsInItsPathAndFollowsThoseOfAReference) {
  EXPECT_EQ(ParseUrl("http://a/b/../c/./d")->text, "http://a/b/../c/./d");
  EXPECT_EQ(ParseUrl("http://a/b/../c")->path, "/b/../c");
  const auto base = ParseUrl("http://a/b/../c/d");
  ASSERT_TRUE(base);
  EXPECT_EQ(ResolveUrl(*base, "../x")->text, "http://a/x");
  EXPECT_EQ(ResolveUrl(*base, "/y/../x")->text, "http://a/x");
  EXPECT_EQ(ResolveUrl(*base, "http://a/y/./x")->text, "http://a/y/x");
  EXPECT_EQ(ResolveUrl(*ParseUrl("http://a/b/.."), "x")->text, "http://a/b/x");
}

TEST(UrlTest, RefusesReferencesThatLeaveHTTPOrNameAUser) {
  const auto base = ParseUrl("http://a/");
  ASSERT_TRUE(base);
  for (const char* reference : {"ftp://a/", "file:///etc/passwd", "http://u:p@a/", "//@a/", "http://"}) {
    EXPECT_FALSE(ResolveUrl(*base, reference)) << reference;
  }
}

TEST(WebAddressTest, IsHttpOrHttpsWithAHost) {
  for (const char* text :
       {"http://a", "HTTPS://a/", "http://a:80/", "http://a:/", "http://10.0.0.1/x?y#device",
        "http://a#device", "http://[fe80::1]:80/", "http://[::1]", "http://user:word@a:1/", "http://a?x",
        "http://studio\xc3\xa9.local/", "http://a:65535/", "hTTp://a/%20", "http://[fe80::1%25eth0]/",
        "http://[fe80::1%eth0]:80/x", "http://user@[fe80::1%25eth0]"}) {
    EXPECT_TRUE(IsWebAddress(text)) << text;
  }
}

TEST(WebAddressTest, IsNothingElse) {
  for (const char* text : {"",
                           "http:",
                           "http://",
                           "http:///path",
                           "http://:80/",
                           "http://@/",
                           "http://a:65536/",
                           "http://a:x/",
                           "http://a:-1/",
                           "http://[]/",
                           "http://[::1",
                           "http://[::1]x/",
                           "ftp://a/",
                           "file:///etc/passwd",
                           "//a/",
                           "a",
                           "javascript:alert(1)",
                           "-http://a/",
                           " http://a/",
                           "http://a/ b",
                           "http://a/\n",
                           "http://a\\@b/",
                           "http://a/\"",
                           "http://a/<b>",
                           "http://?x",
                           "http://#x",
                           "https:/a",
                           "httpx://a",
                           "http://a%00/",
                           "http://{a}/",
                           "http://a|b/",
                           "http://a%25eth0/",
                           "http://[fe80::1%]/",
                           "http://[fe80::1%25a|b]/",
                           "http://[::1]%61/",
                           "http://[::1]:%38%30/"}) {
    EXPECT_FALSE(IsWebAddress(text)) << text;
  }
  EXPECT_FALSE(IsWebAddress(std::string("http://a/\0b", 11)));
}

TEST(WebAddressTest, IsOfBoundedLength) {
  const std::string prefix = "http://a/";
  EXPECT_TRUE(IsWebAddress(prefix + std::string(8192 - prefix.size(), 'x')));
  EXPECT_FALSE(IsWebAddress(prefix + std::string(8193 - prefix.size(), 'x')));
}

TEST(URLEncodeTest, EncodesASegment) {
  EXPECT_EQ(URLEncode("My Device/1"), "My%20Device%2f1");
  EXPECT_EQ(URLEncode("a-b_c.d~e"), "a-b_c.d~e");
  EXPECT_EQ(URLEncode("a:b"), "a%3ab");
  EXPECT_EQ(URLEncode(""), "");
}

TEST(URLEncodeTest, LeavesLettersDigitsAndFifteenMarks) {
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
