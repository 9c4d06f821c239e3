#pragma once

#include <string>

#include "foundation/Optional.h"

namespace vorn {

/// A settings key as it stands in the file: letters, digits, "-" and "_" as
/// they are, so that ordinary keys can be read and edited by hand; any other
/// byte as "." and two upper-case hexadecimal digits; the empty key as ".".
/// The result means nothing to an INI reader, and distinct keys have distinct
/// results.
[[nodiscard]] std::string EncodeSettingsKey(const std::string& key);

/// The key that EncodeSettingsKey turned into `text`; empty when none does.
[[nodiscard]] optional<std::string> DecodeSettingsKey(const std::string& text);

}  // namespace vorn
