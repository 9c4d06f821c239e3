#include <gtest/gtest.h>

#include "notification/WebAddress.h"

namespace Notification {
namespace {

TEST(WebAddressTest, AcceptsHttpAndHttpsWithAHost) {
  for (const char* text :
       {"http://a", "HTTPS://a/", "http://a:80/", "http://a:/", "http://10.0.0.1/x?y#device",
        "http://a#device", "http://[fe80::1]:80/", "http://[::1]", "http://user:word@a:1/", "http://a?x",
        "http://studio\xc3\xa9.local/", "http://a:65535/", "hTTp://a/%20"}) {
    EXPECT_TRUE(IsWebAddress(text)) << text;
  }
}

TEST(WebAddressTest, RefusesEverythingElse) {
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
                           "http://{a}/"}) {
    EXPECT_FALSE(IsWebAddress(text)) << text;
  }
  EXPECT_FALSE(IsWebAddress(std::string("http://a/\0b", 11)));
}

TEST(WebAddressTest, BoundsTheLength) {
  const std::string prefix = "http://a/";
  EXPECT_TRUE(IsWebAddress(prefix + std::string(8192 - prefix.size(), 'x')));
  EXPECT_FALSE(IsWebAddress(prefix + std::string(8193 - prefix.size(), 'x')));
}

}  // namespace
}  // namespace Notification
