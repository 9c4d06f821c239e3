#pragma once

#include <string>

namespace DeviceList {

/// The text as a path segment of the update server: ASCII letters, digits and
/// ! $ & ' ( ) * + , - . ; = _ ~ stay as they are, every other byte becomes a
/// percent sign and two lower-case hexadecimal digits. Any bytes, any thread.
[[nodiscard]] std::string URLEncode(const std::string& text);

}  // namespace DeviceList
