#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "foundation/Optional.h"

namespace DeviceList {

/// Readers of the two JSON answers that are polled. Both take the body's bytes from a stranger and return the
/// one text that is needed, or nothing. They build no document in memory, and their stack does not grow with
/// the body. Common rules:
///
/// - The whole body must be one well-formed JSON text in UTF-8 (a byte-order mark in front is ignored),
///   nested at most kMaxJsonDepth deep; otherwise there is no result.
/// - Only a JSON string is a text: numbers, null and the rest give no result.
/// - If a member is there more than once, the last one counts, whatever its type is.
/// - A text ends at its first NUL.
///
/// Throws only std::bad_alloc. Any thread.
inline constexpr int kMaxJsonDepth = 32;

/// The member "value" of the object in the answer of a unit's datastore.
vorn::optional<std::string> GetDatastoreValue(std::string_view body);

/// The member "version" of the first element of the update server's array of releases. That element must be
/// an object.
vorn::optional<std::string> GetFirstReleaseVersion(std::string_view body);

/// The most bytes that are kept of a unit's or the update server's text: a name, a model, a version. Real
/// ones have some tens of bytes. Every update of the list compares and copies all of them on the main thread.
inline constexpr std::size_t kMaxValueBytes = 4096;

/// Cuts a longer text to the bound, between two characters if it is UTF-8, and frees the rest of its memory.
/// Throws only std::bad_alloc. Any thread.
void CutToBound(std::string& value);

}  // namespace DeviceList
