#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/settings/IniDocument.h"
#include "platform/linux/settings/KeyPlaces.h"

namespace vorn {
namespace {

constexpr std::size_t kLog = 12;
constexpr std::size_t kCount = std::size_t{1} << kLog;

std::string_view KeyOf(std::string_view text) {
  return text.substr(0, text.find('='));
}

std::uint32_t SameHash(std::string_view /*key*/) {
  return 7;
}

std::size_t gCompared = 0;

int CountingCompare(std::string_view a, std::string_view b) {
  ++gCompared;
  return KeyOf(a).compare(KeyOf(b));
}

/// A text with a line for each key, and the places of the keys.
struct Places {
  explicit Places(const std::vector<std::string>& keys) {
    std::vector<std::size_t> begins;
    for (const auto& key : keys) {
      begins.push_back(text.size());
      text += key + "=1\n";
    }
    for (std::size_t i = 0; i < keys.size(); ++i) places.Add(text, begins[i], keys[i].size());
    places.Sort(text);
  }

  std::string text;
  KeyPlaces places{{SameHash, CountingCompare}};
};

std::vector<std::string> NumberedKeys() {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < kCount; ++i) keys.push_back("record-" + std::to_string(kCount + i));
  return keys;
}

// Keys that meet in one slot of every hash table with up to 1,024 slots.
std::vector<std::string> KeysWithEqualLowBits() {
  constexpr std::size_t kLowBits = 1023;
  std::vector<std::string> keys;
  for (std::size_t i = 0; keys.size() < kCount / 4; ++i) {
    auto key = "record-" + std::to_string(i);
    if ((std::hash<std::string_view>()(key) & kLowBits) == 0) keys.push_back(std::move(key));
  }
  return keys;
}

// The worst that a stranger can do is to choose keys whose hashes are all equal.
TEST(KeyPlacesTest, ComparesFewKeysInAnyOrderIfAllHashesAreEqual) {
  std::mt19937 random(3);  // NOLINT(cert-msc51-cpp): the same order in every run
  const auto sorted = NumberedKeys();
  auto reversed = sorted;
  std::reverse(reversed.begin(), reversed.end());
  auto shuffled = sorted;
  std::shuffle(shuffled.begin(), shuffled.end(), random);
  for (const auto& keys : {sorted, reversed, shuffled, std::vector<std::string>(kCount, "same")}) {
    gCompared = 0;
    const Places all(keys);
    EXPECT_LE(gCompared, kCount * (kLog + 1)) << keys[0];
    for (const auto& key : keys) {
      gCompared = 0;
      const auto place = all.places.Find(all.text, key);
      EXPECT_LE(gCompared, kLog + 2) << key;
      ASSERT_TRUE(place) << key;
      EXPECT_EQ(KeyOf(std::string_view(all.text).substr(*place)), key);
    }
    gCompared = 0;
    EXPECT_FALSE(all.places.Find(all.text, "record-"));
    EXPECT_LE(gCompared, kLog + 2);
  }
}

TEST(KeyPlacesTest, FindsTheLastPlaceOfEqualKeys) {
  const Places all({"b", "a", "b", "c", "b", "a"});
  EXPECT_EQ(all.places.Find(all.text, "a"), all.text.rfind('a'));
  EXPECT_EQ(all.places.Find(all.text, "b"), all.text.rfind('b'));
  EXPECT_EQ(all.places.Find(all.text, "c"), all.text.rfind('c'));
}

TEST(KeyPlacesTest, ADocumentFindsKeysWhoseHashesHaveEqualLowBits) {
  const auto keys = KeysWithEqualLowBits();
  std::string text;
  for (const char* value : {"=old\n", "=new\n"}) {
    for (const auto& key : keys) text += key + value;
  }
  const auto document = IniDocument::Parse(text);
  ASSERT_TRUE(document);
  for (const auto& key : keys) EXPECT_EQ(document->Find(key), IniDocument::Value{"new"}) << key;
  EXPECT_FALSE(document->Find("record-"));
  auto expected = text;
  expected.replace(expected.rfind(keys[5] + "=new"), keys[5].size() + 4, keys[5] + "=3")
      .append("record-=4\n");
  EXPECT_EQ(document->With({{keys[5], {"3"}}, {"record-", {"4"}}}), expected);
}

}  // namespace
}  // namespace vorn
