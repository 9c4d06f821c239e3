#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace vorn {

/// The places of the keys in a settings text. The keys themselves stay in the text, so each one takes eight
/// bytes here.
///
/// Strangers choose many of the keys. Therefore the places are sorted, and Find is a binary search: no choice
/// of keys makes them slow. The hash stands first in the order because numbers are compared quickly, and
/// equal hashes only cost a comparison of the keys.
///
/// All places are added first, then sorted once.
///
/// @threadsafety Any thread may call the const functions.
class KeyPlaces {
 public:
  /// What puts keys in order. Tests count with their own.
  struct Order {
    std::uint32_t (*hash)(std::string_view key);
    /// Less than, equal to or greater than 0, for texts that begin with a key each.
    int (*compare)(std::string_view a, std::string_view b);
  };

  KeyPlaces();
  explicit KeyPlaces(Order order) : fOrder(order) {}

  /// Adds the key that is at `place` and has that length. "=" or a blank must follow it.
  void Add(std::string_view text, std::size_t place, std::size_t length);
  void Sort(std::string_view text);

  /// The last place of the key, if there is one.
  [[nodiscard]] std::optional<std::size_t> Find(std::string_view text, std::string_view key) const;
  [[nodiscard]] bool IsEmpty() const { return fEntries.empty(); }

 private:
  struct Entry {
    std::uint32_t hash;
    std::uint32_t place;
  };

  Order fOrder;
  std::vector<Entry> fEntries;
};

}  // namespace vorn
