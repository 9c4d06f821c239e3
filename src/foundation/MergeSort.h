#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace vorn {

/// A stable bottom-up merge sort that is defined for any predicate, even if it is no strict weak ordering: an
/// element of the right half goes first exactly when `precedes(right, left)`. So with a non-strict predicate
/// such as <=, equal neighbours change places at every sort. `merged` is working memory, and its contents are
/// lost. If it has room for all items, nothing is allocated.
template <typename T, typename Predicate>
void MergeSort(std::vector<T>& items, std::vector<T>& merged, Predicate precedes) {
  merged.resize(items.size());
  for (std::size_t width = 1; width < items.size(); width *= 2) {
    for (std::size_t start = 0; start < items.size(); start += 2 * width) {
      std::size_t left = start;
      const std::size_t leftEnd = std::min(start + width, items.size());
      std::size_t right = leftEnd;
      const std::size_t rightEnd = std::min(start + 2 * width, items.size());
      for (std::size_t out = start; out < rightEnd; ++out) {
        const bool takeRight = left == leftEnd || (right < rightEnd && precedes(items[right], items[left]));
        merged[out] = takeRight ? items[right++] : items[left++];
      }
    }
    items.swap(merged);
  }
}

}  // namespace vorn
