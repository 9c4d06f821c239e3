#include "foundation/Strings.h"

namespace vorn {
namespace {

std::vector<std::string> GetDividedValues(const std::string& text, char delimiter) {
  std::istringstream stream(text);
  std::vector<std::string> pieces;
  for (std::string piece; std::getline(stream, piece, delimiter);) pieces.push_back(piece);
  return pieces;
}

struct Sequence {
  std::size_t length;  // number of bytes that the first one announces; 0: it cannot be first
  char32_t bits;       // of the first byte
  char32_t least;      // smallest character that needs this many bytes
};

Sequence SequenceOf(unsigned char first) {
  if (first < 0x80) return {1, first, 0};
  if (first >= 0xC2 && first < 0xE0) return {2, first & 0x1FU, 0x80};
  if (first >= 0xE0 && first < 0xF0) return {3, first & 0x0FU, 0x800};
  if (first >= 0xF0 && first < 0xF5) return {4, first & 0x07U, 0x10000};
  return {0, 0, 0};
}

}  // namespace

std::vector<std::string> GetEmbeddedValues(const std::string& text) {
  return GetDividedValues(text, ':');
}

std::optional<char32_t> TakeCharacter(std::string_view& bytes) {
  const Sequence sequence = SequenceOf(static_cast<unsigned char>(bytes.front()));
  char32_t c = sequence.bits;
  std::size_t used = 1;
  while (used < sequence.length && used < bytes.size() && IsContinuation(bytes[used])) {
    c = (c << 6U) | (static_cast<unsigned char>(bytes[used]) & 0x3FU);
    ++used;
  }
  bytes.remove_prefix(used);
  const bool complete = sequence.length != 0 && used == sequence.length;
  const bool surrogate = c >= 0xD800 && c < 0xE000;
  if (!complete || c < sequence.least || c > 0x10FFFF || surrogate) return {};
  return c;
}

bool IsUTF8(std::string_view bytes) {
  while (!bytes.empty()) {
    if (!TakeCharacter(bytes)) return false;
  }
  return true;
}

std::string ToUTF8(std::u32string_view text) {
  std::string bytes;
  const auto tail = [&](char32_t c, unsigned shift) {
    bytes.push_back(static_cast<char>(0x80U | ((c >> shift) & 0x3FU)));
  };
  for (const char32_t c : text) {
    if (c < 0x80) {
      bytes.push_back(static_cast<char>(c));
    } else if (c < 0x800) {
      bytes.push_back(static_cast<char>(0xC0U | (c >> 6U)));
      tail(c, 0);
    } else if (c < 0x10000) {
      bytes.push_back(static_cast<char>(0xE0U | (c >> 12U)));
      tail(c, 6);
      tail(c, 0);
    } else {
      bytes.push_back(static_cast<char>(0xF0U | (c >> 18U)));
      tail(c, 12);
      tail(c, 6);
      tail(c, 0);
    }
  }
  return bytes;
}

std::string WithoutLastCharacter(const std::string& text) {
  std::size_t end = text.size();
  while (end > 0 && IsContinuation(text[end - 1])) --end;
  return text.substr(0, end == 0 ? 0 : end - 1);
}

}  // namespace vorn
