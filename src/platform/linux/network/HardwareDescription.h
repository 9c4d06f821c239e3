#pragma once

#include <filesystem>
#include <string>

namespace vorn {

/// What udev calls the hardware of a device, from the file that it keeps about
/// it: the board's own label, else the model, else the maker. Empty where the
/// file is missing or holds none of them. Any thread.
///
/// Label and names are the hardware's own or come from a list, so they are
/// strangers' text: what is returned is UTF-8 on one line, of at most 64
/// characters, with single spaces between words. A ":" becomes a space, because
/// it parts a service's name from its interface's in the virtual entity's items,
/// where a name with a ":" has none.
[[nodiscard]] std::string ReadHardwareDescription(const std::filesystem::path& file);

}  // namespace vorn
