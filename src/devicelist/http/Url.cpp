#include "devicelist/http/Url.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>

#include "foundation/Strings.h"

namespace DeviceList {
namespace {

struct UrlCleanup {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};
using UrlHandle = std::unique_ptr<CURLU, UrlCleanup>;

UrlHandle MakeHandle() {
  UrlHandle handle(curl_url());
  if (!handle) throw std::bad_alloc();
  return handle;
}

std::optional<std::string> GetPart(const UrlHandle& handle, CURLUPart part, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(handle.get(), part, &text, flags) != CURLUE_OK) return {};
  const std::unique_ptr<char, void (*)(void*)> owner(text, curl_free);
  return std::string(text);
}

bool HoldsForbidden(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7f;
  });
}

/// True for "scheme://x": the parser would accept any number of slashes.
bool HasAuthority(const std::string& text) {
  const auto colon = text.find(':');
  return colon != std::string::npos && text.compare(colon, 3, "://") == 0 && colon + 3 < text.size() &&
         text[colon + 3] != '/';
}

/// The part between "//" and the path: the host, with an optional port after it and an optional user before
/// it. Empty if the text has none.
std::string_view AuthorityOf(std::string_view text) {
  const auto slashes = text.find("//");
  if (slashes == std::string_view::npos || (slashes > 0 && text[slashes - 1] != ':')) return {};
  const auto rest = text.substr(slashes + 2);
  return rest.substr(0, rest.find_first_of("/?#\\"));
}

/// Even an empty user name before the host is not allowed in a request, and an escape would hide the real
/// host.
bool HasUserOrEscape(std::string_view text) {
  return AuthorityOf(text).find_first_of("@%") != std::string_view::npos;
}

std::optional<Url> Read(const UrlHandle& handle) {
  curl_url_set(handle.get(), CURLUPART_FRAGMENT, nullptr, 0);
  auto text = GetPart(handle, CURLUPART_URL);
  auto scheme = GetPart(handle, CURLUPART_SCHEME);
  auto host = GetPart(handle, CURLUPART_HOST);
  auto port = GetPart(handle, CURLUPART_PORT, CURLU_DEFAULT_PORT);
  auto path = GetPart(handle, CURLUPART_PATH);
  if (!text || !scheme || !host || !port || !path || host->empty()) return {};
  // Escapes in the host have become the bytes that they mean.
  if (HoldsForbidden(*text)) return {};
  Url url{std::move(*text), vorn::LowerASCII(*scheme), vorn::LowerASCII(*host), std::move(*port),
          std::move(*path)};
  if (url.scheme != "http" && url.scheme != "https") return {};
  return url;
}

/// "." and ".." stay as they are: they may be a unit's identifier or its model, and the path without them
/// would be another resource's.
constexpr unsigned kAsWritten = CURLU_PATH_AS_IS | CURLU_DISALLOW_USER;

std::optional<Url> Parse(const std::string& text, unsigned flags) {
  if (HoldsForbidden(text) || !HasAuthority(text)) return {};
  const auto handle = MakeHandle();
  if (curl_url_set(handle.get(), CURLUPART_URL, text.c_str(), flags) != CURLUE_OK) return {};
  return Read(handle);
}

bool StaysAsItIs(char c) {
  constexpr std::string_view kPunctuation = "!$&'()*+,-.;=_~";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kPunctuation.find(c) != std::string_view::npos;
}

}  // namespace

std::optional<Url> ParseUrl(const std::string& text) {
  return HasUserOrEscape(text) ? std::optional<Url>() : Parse(text, kAsWritten);
}

std::optional<Url> ParsePlainUrl(const std::string& text) {
  return text.starts_with("http://") ? ParseUrl(text) : std::optional<Url>();
}

std::optional<Url> ResolveUrl(const Url& base, const std::string& reference) {
  // The parser takes a reference to the base itself for one to its folder.
  if (reference.empty() || reference.front() == '#') return base;
  const auto handle = MakeHandle();
  if (curl_url_set(handle.get(), CURLUPART_URL, base.text.c_str(), kAsWritten) != CURLUE_OK) return {};
  // Some servers write blanks into a Location; they are encoded here.
  if (HasUserOrEscape(reference)) return {};
  const auto result =
      curl_url_set(handle.get(), CURLUPART_URL, reference.c_str(), CURLU_URLENCODE | CURLU_DISALLOW_USER);
  if (result != CURLUE_OK) return {};
  auto resolved = Read(handle);
  if (!resolved) return {};
  return ParseUrl(resolved->text);
}

bool IsWebAddress(const std::string& text) {
  constexpr std::size_t kMaxLength = 8192;
  if (text.size() > kMaxLength || text.find_first_of("\"<>\\") != std::string::npos) return false;
  const auto authority = AuthorityOf(text);
  const auto host = authority.substr(authority.rfind('@') + 1);  // all of it if there is no user
  // An IPv6 address may have a zone, which follows a "%".
  const std::string_view forbidden = host.starts_with('[') ? "|" : "%|";
  return host.find_first_of(forbidden) == std::string_view::npos && Parse(text, CURLU_PATH_AS_IS);
}

std::string URLEncode(const std::string& text) {
  std::string encoded;
  encoded.reserve(text.size());
  for (const char c : text) {
    if (StaysAsItIs(c)) {
      encoded += c;
      continue;
    }
    encoded += '%';
    vorn::AppendHex(encoded, c, vorn::kSmallHexDigits);
  }
  return encoded;
}

}  // namespace DeviceList
