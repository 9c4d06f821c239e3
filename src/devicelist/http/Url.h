#pragma once

#include <optional>
#include <string>

namespace DeviceList {

/// An http or https URL that is safe for a request: no user name or password, no white space or control
/// characters. URLs contain strangers' host names and identifiers, so the same parser reads them here that
/// the HTTP client uses.
struct Url {
  std::string text;    ///< the whole URL, without fragment, as the client gets it
  std::string scheme;  ///< "http" or "https"
  std::string host;    ///< lower case; an IPv6 address keeps its brackets
  std::string port;    ///< decimal; the scheme's default if the text names none
  std::string path;    ///< begins with "/"
};

/// The URL in the text, with its path as written there; empty if the text is not such a URL. Any thread.
std::optional<Url> ParseUrl(const std::string& text);

/// The same for a URL that a request may begin with: only "http://", exactly as it is written here.
std::optional<Url> ParsePlainUrl(const std::string& text);

/// The URL that a redirect's Location means at the base, with "." and ".." in its path followed; empty if it
/// is not such a URL. Any thread.
std::optional<Url> ResolveUrl(const Url& base, const std::string& reference);

/// True for an address that a browser may get although it comes from a stranger: a URL as above, but a user
/// name and a password are allowed too; at most 8,192 bytes, without a quote, an angle bracket or a
/// backslash. Any thread.
[[nodiscard]] bool IsWebAddress(const std::string& text);

/// The text as a path segment of the update server: ASCII letters, digits and ! $ & ' ( ) * + , - . ; = _ ~
/// stay as they are. Every other byte becomes a percent sign and two lower-case hexadecimal digits. Any
/// bytes, any thread.
[[nodiscard]] std::string URLEncode(const std::string& text);

}  // namespace DeviceList
