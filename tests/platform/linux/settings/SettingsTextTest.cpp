#include <gtest/gtest.h>

#include <random>
#include <set>

#include "platform/linux/settings/SettingsText.h"

namespace vorn {
namespace {

TEST(SettingsTextTest, LeavesOrdinaryKeysReadable) {
  for (const char* key :
       {"updateServerRoot", "showSwitches", "notify", "AlreadyRun", "notificationrecord-0001f2_A"}) {
    EXPECT_EQ(EncodeSettingsKey(key), key);
    EXPECT_TRUE(IsSettingsKey(key));
  }
}

TEST(SettingsTextTest, EscapesWhateverAReaderCouldMistakeForStructure) {
  EXPECT_EQ(EncodeSettingsKey("a/b\\c=d[e]%.;#\n"), "a.2Fb.5Cc.3Dd.5Be.5D.25.2E.3B.23.0A");
  EXPECT_EQ(EncodeSettingsKey(""), ".");
  EXPECT_EQ(EncodeSettingsKey(std::string(1, '\0')), ".00");
}

TEST(SettingsTextTest, SpellsEveryByteAndNeverLetsTwoKeysMeet) {
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the same keys in every run
  std::set<std::string> keys{"", ".", "..", ".00", "%2F", "/"};
  for (int byte = 0; byte < 256; ++byte) keys.insert(std::string(1, static_cast<char>(byte)));
  for (int i = 0; i < 500; ++i) {
    std::string key(random() % 256, '\0');
    for (char& c : key) c = static_cast<char>(random());
    keys.insert(key);
  }
  std::set<std::string> encoded;
  for (const auto& key : keys) {
    encoded.insert(EncodeSettingsKey(key));
    EXPECT_TRUE(IsSettingsKey(EncodeSettingsKey(key))) << EncodeSettingsKey(key);
  }
  EXPECT_EQ(encoded.size(), keys.size());
}

TEST(SettingsTextTest, KnowsNoKeyBehindASpellingThatItNeverWrites) {
  for (const char* text : {"", "a b", "a.2", "a.", "a.2f", "a.41", ".zz", "a/b", "..", "\xc3\xa9"}) {
    EXPECT_FALSE(IsSettingsKey(text)) << text;
  }
}

TEST(SettingsTextTest, KnowsWithoutReadingWhichValuesCanBeRead) {
  std::mt19937 random(13);  // NOLINT(cert-msc51-cpp): the same texts in every run
  constexpr std::string_view kAlphabet = "a,\"\\x4 \t";
  for (int i = 0; i < 20000; ++i) {
    std::string text(random() % 12, '\0');
    for (char& c : text) c = kAlphabet[random() % kAlphabet.size()];
    EXPECT_EQ(IsSettingsValue(text), DecodeSettingsValue(text).has_value()) << text;
  }
}

}  // namespace
}  // namespace vorn
