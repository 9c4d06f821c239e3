#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "foundation/Optional.h"

namespace DeviceList {

/// Readers of the two JSON answers that are polled. Both take the body's bytes
/// as a stranger sent them and give the one text that is wanted, or nothing;
/// they build no document in memory, and their stack does not grow with the
/// body. Common rules:
///
///  - The whole body has to be one well-formed JSON text in UTF-8 (a byte-order
///    mark in front is passed over), nested at most kMaxJsonDepth deep; else
///    there is no result.
///  - Nothing but a JSON string is a text: numbers, null and the rest give no
///    result.
///  - Where a member is there more than once, the last one counts, whatever
///    its type.
///  - A text ends at its first NUL.
///
/// Nothing throws but std::bad_alloc. Any thread.
inline constexpr int kMaxJsonDepth = 32;

/// The member "value" of the object that a unit's datastore answers with.
vorn::optional<std::string> GetDatastoreValue(std::string_view body);

/// The member "version" of the first element of the update server's array of
/// releases; that element has to be an object.
vorn::optional<std::string> GetFirstReleaseVersion(std::string_view body);

/// What is kept of a text that a unit or the update server gives of itself: a
/// name, a model, a version. Real ones take some tens of bytes; every update of
/// the list compares and copies all of them on the main thread.
inline constexpr std::size_t kMaxValueBytes = 4096;

/// Cuts a longer text to the bound, between two characters where it is UTF-8,
/// and gives its memory back. Nothing throws but std::bad_alloc. Any thread.
void CutToBound(std::string& value);

}  // namespace DeviceList
