#include "platform/linux/settings/KeyPlaces.h"

#include <algorithm>
#include <functional>
#include <iterator>

namespace vorn {
namespace {

std::uint32_t HashOf(std::string_view key) {
  return static_cast<std::uint32_t>(std::hash<std::string_view>()(key));
}

// The byte of the key with which the text begins. 0 after the key: "=" or a blank ends it.
int ByteOfKey(std::string_view text, std::size_t i) {
  if (i >= text.size() || text[i] <= ' ' || text[i] == '=') return 0;
  return text[i];
}

// Does not look for the end of a key first: one of the two may be very long.
int CompareKeys(std::string_view a, std::string_view b) {
  std::size_t i = 0;
  while (ByteOfKey(a, i) != 0 && ByteOfKey(a, i) == ByteOfKey(b, i)) ++i;
  return ByteOfKey(a, i) - ByteOfKey(b, i);
}

}  // namespace

KeyPlaces::KeyPlaces() : KeyPlaces({HashOf, CompareKeys}) {}

void KeyPlaces::Add(std::string_view text, std::size_t place, std::size_t length) {
  fEntries.push_back({fOrder.hash(text.substr(place, length)), static_cast<std::uint32_t>(place)});
}

void KeyPlaces::Sort(std::string_view text) {
  // Stable: of equal keys, the last one of the text stays the last one.
  std::stable_sort(fEntries.begin(), fEntries.end(), [&](const Entry& a, const Entry& b) {
    if (a.hash != b.hash) return a.hash < b.hash;
    return fOrder.compare(text.substr(a.place), text.substr(b.place)) < 0;
  });
}

std::optional<std::size_t> KeyPlaces::Find(std::string_view text, std::string_view key) const {
  const auto hash = fOrder.hash(key);
  const auto orderOf = [&](const Entry& entry) {
    if (hash != entry.hash) return hash < entry.hash ? -1 : 1;
    return fOrder.compare(key, text.substr(entry.place));
  };
  // The last of equal keys is just before the first greater one.
  const auto next = std::partition_point(fEntries.begin(), fEntries.end(),
                                         [&](const Entry& entry) { return orderOf(entry) >= 0; });
  if (next == fEntries.begin() || orderOf(*std::prev(next)) != 0) return {};
  return std::prev(next)->place;
}

}  // namespace vorn
