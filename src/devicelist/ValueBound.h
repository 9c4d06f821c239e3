#pragma once

#include <cstddef>
#include <string>

namespace DeviceList {

/// What is kept of a text that a unit or the update server gives of itself: a
/// name, a model, a version. Real ones take some tens of bytes; every update of
/// the list compares and copies all of them on the main thread.
inline constexpr std::size_t kMaxValueBytes = 4096;

/// Cuts a longer text to the bound, between two characters where it is UTF-8,
/// and gives its memory back. Nothing throws but std::bad_alloc. Any thread.
void CutToBound(std::string& value);

}  // namespace DeviceList
