#pragma once

#include <optional>
#include <string>

namespace DeviceList {

/// An http or https URL that is safe to send a request to: no user name or
/// password, no white space or control characters. URLs are built from
/// strangers' host names and identifiers, so the parser that the HTTP client
/// uses reads them here too.
struct Url {
  std::string text;    ///< the whole URL, without fragment, as it goes to the client
  std::string scheme;  ///< "http" or "https"
  std::string host;    ///< lower case; an IPv6 address keeps its brackets
  std::string port;    ///< decimal, the scheme's own where the text names none
  std::string path;    ///< begins with "/"
};

/// The URL in the text, its path as it is written there; empty when it is none
/// of the above. Any thread.
std::optional<Url> ParseUrl(const std::string& text);

/// The URL that a redirect's Location means when found at the base, with "."
/// and ".." in its path followed; empty when it is none of the above. Any
/// thread.
std::optional<Url> ResolveUrl(const Url& base, const std::string& reference);

/// True for an address that a browser may be given although it comes from a
/// stranger: a URL as above, where a user name and a password are allowed too,
/// of at most 8,192 bytes, without a quote, an angle bracket or a backslash.
/// Any thread.
[[nodiscard]] bool IsWebAddress(const std::string& text);

/// The text as a path segment of the update server: ASCII letters, digits and
/// ! $ & ' ( ) * + , - . ; = _ ~ stay as they are, every other byte becomes a
/// percent sign and two lower-case hexadecimal digits. Any bytes, any thread.
[[nodiscard]] std::string URLEncode(const std::string& text);

}  // namespace DeviceList
