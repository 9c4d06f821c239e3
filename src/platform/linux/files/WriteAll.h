#pragma once

#include <string_view>

namespace vorn {

/// Writes the whole content to the descriptor, whose writing may block. False,
/// with errno telling why, when that could not be done. Any thread.
[[nodiscard]] bool WriteAll(int descriptor, std::string_view content);

}  // namespace vorn
