#pragma once

#include <string>

namespace Notification {

/// True for an http or https address with a host, as a browser may be given it
/// from a stranger: scheme in any case, an authority with a non-empty host (a
/// bracketed one for IPv6) and at most a port from 0 to 65535, no blank,
/// control character, quote, angle bracket or backslash anywhere, at most
/// 8,192 bytes.
[[nodiscard]] bool IsWebAddress(const std::string& text);

}  // namespace Notification
