#include "notification/WebAddress.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>

#include "foundation/Strings.h"

namespace Notification {
namespace {

constexpr std::size_t kMaxLength = 8192;

bool IsForbidden(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte <= 0x20 || byte == 0x7f || c == '"' || c == '<' || c == '>' || c == '\\';
}

// What follows "http://" or "https://"; empty where neither leads the text.
std::string_view AfterScheme(std::string_view text) {
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (vorn::EqualIgnoringASCIICase(text.substr(0, scheme.size()), scheme))
      return text.substr(scheme.size());
  }
  return {};
}

bool IsPort(std::string_view text) {
  if (text.empty()) return true;  // "http://host:/" is valid and means the default
  std::uint16_t port = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size();
}

bool IsHostWithPort(std::string_view text) {
  std::size_t hostEnd = 0;
  if (text.starts_with('[')) {
    const auto bracket = text.find(']');
    if (bracket == std::string_view::npos || bracket == 1) return false;
    hostEnd = bracket + 1;
  } else {
    hostEnd = std::min(text.find(':'), text.size());
    const auto host = text.substr(0, hostEnd);
    if (host.empty() || host.find_first_of("[]%|^`{}") != std::string_view::npos) return false;
  }
  const auto rest = text.substr(hostEnd);
  return rest.empty() || (rest.front() == ':' && IsPort(rest.substr(1)));
}

}  // namespace

bool IsWebAddress(const std::string& text) {
  if (text.size() > kMaxLength || std::any_of(text.begin(), text.end(), IsForbidden)) return false;
  const auto rest = AfterScheme(text);
  auto authority = rest.substr(0, rest.find_first_of("/?#"));
  const auto at = authority.rfind('@');
  if (at != std::string_view::npos) authority.remove_prefix(at + 1);
  return IsHostWithPort(authority);
}

}  // namespace Notification
