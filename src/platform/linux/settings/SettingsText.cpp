#include "platform/linux/settings/SettingsText.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "foundation/Strings.h"

namespace vorn {
namespace {

std::string_view WithoutBlanks(std::string_view text) {
  return Trimmed(text, kSettingsBlanks);
}

// A table, because every byte of every key in a large file is looked up.
constexpr auto kIsPlain = [] {
  std::array<bool, 256> isPlain{};
  for (char c = '0'; c <= '9'; ++c) isPlain[static_cast<std::uint8_t>(c)] = true;
  for (char c = 'A'; c <= 'Z'; ++c) isPlain[static_cast<std::uint8_t>(c)] = true;
  for (char c = 'a'; c <= 'z'; ++c) isPlain[static_cast<std::uint8_t>(c)] = true;
  isPlain['-'] = isPlain['_'] = true;
  return isPlain;
}();

bool IsPlain(char c) {
  return kIsPlain[static_cast<std::uint8_t>(c)];
}

bool IsUnmistakable(std::string_view text) {
  if (text.empty() || WithoutBlanks(text) != text) return false;
  return std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<std::uint8_t>(c) >= 0x20 && c != 0x7f && c != '"' && c != ',' && c != '\\';
  });
}

void AppendEscaped(std::string& out, char c) {
  const auto byte = static_cast<std::uint8_t>(c);
  if (c == '"' || c == '\\') {
    out += '\\';
    out += c;
  } else if (c == '\n') {
    out += "\\n";
  } else if (byte < 0x20 || byte == 0x7f) {
    out += "\\x";
    AppendHex(out, c);
  } else {
    out += c;
  }
}

/// Reads a value from its front.
class ValueReader {
 public:
  explicit ValueReader(std::string_view rest) : fRest(WithoutBlanks(rest)) {}

  [[nodiscard]] std::optional<std::vector<std::string>> Read() {
    std::vector<std::string> value;
    if (fRest.empty()) return value;
    for (;;) {
      auto text = fRest.starts_with('"') ? ReadQuoted() : ReadPlain();
      if (!text) return {};
      value.push_back(std::move(*text));
      fRest = WithoutBlanks(fRest);
      if (fRest.empty()) return value;
      if (fRest.front() != ',') return {};
      fRest = WithoutBlanks(fRest.substr(1));
    }
  }

 private:
  std::optional<std::string> ReadPlain() {
    const auto text = fRest.substr(0, fRest.find(','));
    fRest.remove_prefix(text.size());
    return std::string(WithoutBlanks(text));
  }

  std::optional<std::string> ReadQuoted() {
    std::string text;
    for (fRest.remove_prefix(1); !fRest.empty(); fRest.remove_prefix(1)) {
      if (fRest.front() == '"') {
        fRest.remove_prefix(1);
        return text;
      }
      if (fRest.front() != '\\') {
        text += fRest.front();
      } else if (!ReadEscape(text)) {
        return {};
      }
    }
    return {};  // the closing quote is missing
  }

  // Leaves the last character of the escape in front.
  bool ReadEscape(std::string& text) {
    fRest.remove_prefix(1);
    if (fRest.empty()) return false;
    switch (fRest.front()) {
      case '"':
      case '\\':
        text += fRest.front();
        return true;
      case 'n':
        text += '\n';
        return true;
      case 'r':
        text += '\r';
        return true;
      case 't':
        text += '\t';
        return true;
      case 'x':
        return ReadHex(text);
      default:
        return false;
    }
  }

  bool ReadHex(std::string& text) {
    if (fRest.size() < 3) return false;
    const int high = HexValue(fRest[1]);
    const int low = HexValue(fRest[2]);
    if (high < 0 || low < 0) return false;
    text += static_cast<char>(high * 16 + low);
    fRest.remove_prefix(2);
    return true;
  }

  std::string_view fRest;
};

}  // namespace

std::string EncodeSettingsKey(const std::string& key) {
  if (key.empty()) return ".";
  std::string text;
  for (const char c : key) {
    if (IsPlain(c)) {
      text += c;
      continue;
    }
    text += '.';
    AppendHex(text, c);
  }
  return text;
}

bool IsSettingsKey(std::string_view text) {
  constexpr std::string_view kDigits = kCapitalHexDigits;
  if (text == ".") return true;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (IsPlain(text[i])) continue;
    if (text[i] != '.' || i + 2 >= text.size()) return false;
    const auto high = kDigits.find(text[i + 1]);
    const auto low = kDigits.find(text[i + 2]);
    if (high == std::string_view::npos || low == std::string_view::npos) return false;
    if (IsPlain(static_cast<char>(high * 16 + low))) return false;  // would need no escape
    i += 2;
  }
  return !text.empty();
}

std::string EncodeSettingsValue(const std::vector<std::string>& value) {
  std::string out;
  for (const auto& text : value) {
    if (!out.empty()) out += ", ";
    if (IsUnmistakable(text)) {
      out += text;
      continue;
    }
    out += '"';
    for (const char c : text) AppendEscaped(out, c);
    out += '"';
  }
  return out;
}

std::optional<std::vector<std::string>> DecodeSettingsValue(std::string_view text) {
  return ValueReader(text).Read();
}

bool IsSettingsValue(std::string_view text) {
  return text.find('"') == std::string_view::npos || ValueReader(text).Read();
}

}  // namespace vorn
