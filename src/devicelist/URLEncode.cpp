#include "devicelist/URLEncode.h"

#include <string_view>

namespace DeviceList {
namespace {

bool StaysAsItIs(char c) {
  constexpr std::string_view kPunctuation = "!$&'()*+,-.;=_~";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kPunctuation.find(c) != std::string_view::npos;
}

}  // namespace

std::string URLEncode(const std::string& text) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char c : text) {
    if (StaysAsItIs(c)) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += kDigits[byte >> 4];
    encoded += kDigits[byte & 0xf];
  }
  return encoded;
}

}  // namespace DeviceList
