#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "foundation/MergeSort.h"

namespace vorn {
namespace {

using Keyed = std::pair<int, int>;  // what is compared, and where it was

std::vector<Keyed> RandomItems(std::size_t count, int keys, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<int> key(0, keys - 1);
  std::vector<Keyed> items;
  for (std::size_t i = 0; i < count; ++i) items.emplace_back(key(random), static_cast<int>(i));
  return items;
}

template <typename Predicate>
void Sort(std::vector<Keyed>& items, Predicate precedes) {
  std::vector<Keyed> merged{{-1, -1}};  // as an earlier sort may have left it
  MergeSort(items, merged, precedes);
}

bool KeyLess(const Keyed& a, const Keyed& b) {
  return a.first < b.first;
}

bool KeyLessOrEqual(const Keyed& a, const Keyed& b) {
  return a.first <= b.first;
}

TEST(MergeSortTest, SortsStablyUnderAStrictPredicate) {
  for (std::size_t count = 0; count < 70; ++count) {
    auto items = RandomItems(count, 5, static_cast<unsigned>(count));
    auto expected = items;
    std::stable_sort(expected.begin(), expected.end(), KeyLess);
    Sort(items, KeyLess);
    EXPECT_EQ(items, expected) << count;
  }
}

TEST(MergeSortTest, ReversesEqualItemsUnderANonStrictPredicate) {
  for (std::size_t count = 0; count < 70; ++count) {
    auto items = RandomItems(count, 5, static_cast<unsigned>(count));
    auto expected = items;
    std::reverse(expected.begin(), expected.end());
    std::stable_sort(expected.begin(), expected.end(), KeyLess);
    Sort(items, KeyLessOrEqual);
    EXPECT_EQ(items, expected) << count;
  }
}

TEST(MergeSortTest, TwoEqualItemsChangePlacesAtEachSort) {
  std::vector<Keyed> items{{1, 0}, {1, 1}};
  Sort(items, KeyLessOrEqual);
  EXPECT_EQ(items, (std::vector<Keyed>{{1, 1}, {1, 0}}));
  Sort(items, KeyLessOrEqual);
  EXPECT_EQ(items, (std::vector<Keyed>{{1, 0}, {1, 1}}));
}

TEST(MergeSortTest, LosesNothingUnderAPredicateThatContradictsItself) {
  std::mt19937 random(1);
  auto items = RandomItems(300, 300, 2);
  auto expected = items;
  Sort(items, [&](const Keyed&, const Keyed&) { return random() % 2 == 0; });
  std::sort(items.begin(), items.end(), [](const Keyed& a, const Keyed& b) { return a.second < b.second; });
  EXPECT_EQ(items, expected);
}

TEST(MergeSortTest, ComparesAboutNTimesLogarithmOfN) {
  constexpr std::size_t kCount = 4096;
  constexpr std::size_t kLogarithm = 12;
  auto items = RandomItems(kCount, 1'000'000, 3);
  std::size_t comparisons = 0;
  Sort(items, [&](const Keyed& a, const Keyed& b) {
    ++comparisons;
    return KeyLess(a, b);
  });
  EXPECT_LE(comparisons, kCount * kLogarithm);
}

}  // namespace
}  // namespace vorn
