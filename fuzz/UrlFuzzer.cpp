// Strangers' text on its way into URLs: models as path segments, whole URLs, and the targets of redirects.

#include <string>

#include "devicelist/http/Url.h"
#include "fuzz/Bytes.h"
#include "fuzz/Require.h"

namespace {

using DeviceList::ParseUrl;
using DeviceList::Url;
using vorn::fuzzing::Require;

unsigned Digit(char c) {
  return static_cast<unsigned>(c <= '9' ? c - '0' : c - 'a' + 10);
}

std::string Decode(const std::string& encoded) {
  std::string text;
  for (std::size_t i = 0; i < encoded.size(); ++i) {
    if (encoded[i] != '%') {
      text += encoded[i];
      continue;
    }
    Require(i + 2 < encoded.size(), "a percent sign is followed by two digits");
    text += static_cast<char>(Digit(encoded[i + 1]) << 4U | Digit(encoded[i + 2]));
    i += 2;
  }
  return text;
}

void CheckEncoding(const std::string& text) {
  const std::string encoded = DeviceList::URLEncode(text);
  Require(Decode(encoded) == text, "decoding gives the text back");
  Require(encoded.find_first_of("/?#:@[]\\\"<> ") == std::string::npos, "a segment stays one segment");
  for (const char c : encoded) Require(c > 0x20 && c < 0x7F, "a segment is printable ASCII");
}

void CheckUrl(const Url& url) {
  Require(url.scheme == "http" || url.scheme == "https", "nothing but http and https");
  Require(!url.host.empty(), "a URL has a host");
  Require(url.path.starts_with("/"), "a path begins with a slash");
  Require(url.text.find('#') == std::string::npos, "a fragment is not sent");
  for (const char c : url.text) {
    Require(static_cast<unsigned char>(c) > 0x20 && c != 0x7F, "a URL holds no control characters");
  }
  const auto again = ParseUrl(url.text);
  Require(again.has_value(), "a URL that was accepted is accepted again");
  Require(DeviceList::IsWebAddress(url.text) || url.text.size() > 8192 ||
              url.text.find_first_of("\"<>\\|") != std::string::npos,
          "what is asked can be opened too");
  Require(again->host == url.host && again->port == url.port && again->scheme == url.scheme &&
              again->path == url.path,
          "it leads to the same place");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(vorn::fuzzing::AsText(data, size));
  CheckEncoding(text);
  if (const auto url = ParseUrl(text)) CheckUrl(*url);
  if (const auto url = ParseUrl("http://" + text + ".local/")) CheckUrl(*url);
  const auto base = ParseUrl("http://studio-a.local:8080/unit/datastore");
  Require(base.has_value(), "a plain URL is accepted");
  const auto resolved = DeviceList::ResolveUrl(*base, text);
  if (resolved) CheckUrl(*resolved);
  if (text.empty() || text.front() == '#')
    Require(resolved && resolved->text == base->text, "a fragment alone leads to the same resource");
  return 0;
}
