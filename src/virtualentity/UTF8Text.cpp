#include "virtualentity/UTF8Text.h"

#include <algorithm>
#include <cstddef>

namespace vorn {
namespace {

struct Character {
  char32_t value = 0;
  std::size_t length = 0;  // in bytes; 0: there is none here
};

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

std::size_t LengthFromLead(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  if (lead >= 0xF0 && lead < 0xF5) return 4;
  return 0;
}

Character CharacterAt(const std::string& text, std::size_t at) {
  const auto lead = static_cast<unsigned char>(text[at]);
  const std::size_t length = LengthFromLead(lead);
  if (length == 0 || text.size() - at < length) return {};
  if (length == 1) return {lead, 1};
  char32_t value = lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if (!IsContinuation(text[at + i])) return {};
    value = (value << 6U) | (static_cast<unsigned char>(text[at + i]) & 0x3FU);
  }
  const bool overlong = (length == 3 && value < 0x800) || (length == 4 && value < 0x10000);
  const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
  if (overlong || surrogate || value > 0x10FFFF) return {};
  return {value, length};
}

bool IsHarmless(char32_t c) {
  const bool control = c < 0x20 || (c >= 0x7F && c < 0xA0);
  const bool lineOrDirection = (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E ||
                               c == 0x200F || c == 0x061C;
  return !control && !lineOrDirection;
}

}  // namespace

bool IsUTF8(const std::string& bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t length = CharacterAt(bytes, at).length;
    if (length == 0) return false;
    at += length;
  }
  return true;
}

std::string WithoutLastCharacter(const std::string& text) {
  std::size_t end = text.size();
  while (end > 0 && IsContinuation(text[end - 1])) --end;
  return text.substr(0, end == 0 ? 0 : end - 1);
}

std::string Printable(const std::string& bytes) {
  std::string printable;
  for (std::size_t at = 0; at < bytes.size();) {
    const Character c = CharacterAt(bytes, at);
    if (c.length > 0 && IsHarmless(c.value)) {
      printable.append(bytes, at, c.length);
    } else {
      printable += '?';
    }
    at += std::max<std::size_t>(c.length, 1);
  }
  return printable;
}

std::size_t CountCharacters(const std::string& text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), IsContinuation));
}

}  // namespace vorn
