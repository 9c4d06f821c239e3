#include "devicelist/http/URLEncode.h"

#include <string_view>

#include "foundation/Strings.h"

namespace DeviceList {
namespace {

bool StaysAsItIs(char c) {
  constexpr std::string_view kPunctuation = "!$&'()*+,-.;=_~";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kPunctuation.find(c) != std::string_view::npos;
}

}  // namespace

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
