#pragma once

#include <string>

#include "foundation/Optional.h"

namespace DeviceList {

/// An http or https URL that has been looked at closely enough to be sent a
/// request: no user name or password, no white space or control characters.
/// URLs are put together from strangers' host names and identifiers, so the
/// text is parsed by the very parser that the HTTP client uses.
struct Url {
  std::string text;    ///< the whole URL, without fragment, as it goes to the client
  std::string scheme;  ///< "http" or "https"
  std::string host;    ///< lower case; an IPv6 address keeps its brackets
  std::string port;    ///< decimal, the scheme's own where the text names none
  std::string path;    ///< begins with "/"
};

/// The URL in the text, its path as it is written there; empty when it is none
/// of the above. Any thread.
vorn::optional<Url> ParseUrl(const std::string& text);

/// The URL that a redirect's Location means when found at the base, with "."
/// and ".." in its path followed; empty when it is none of the above. Any
/// thread.
vorn::optional<Url> ResolveUrl(const Url& base, const std::string& reference);

}  // namespace DeviceList
