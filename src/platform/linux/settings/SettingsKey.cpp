#include "platform/linux/settings/SettingsKey.h"

#include "foundation/Strings.h"

namespace vorn {
namespace {

bool IsPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

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

optional<std::string> DecodeSettingsKey(const std::string& text) {
  std::string key;
  for (std::size_t i = 0; text != "." && i < text.size(); ++i) {
    if (IsPlain(text[i])) {
      key += text[i];
      continue;
    }
    if (text[i] != '.' || i + 2 >= text.size()) return {};
    const int high = HexValue(text[i + 1]);
    const int low = HexValue(text[i + 2]);
    if (high < 0 || low < 0) return {};
    key += static_cast<char>(high * 16 + low);
    i += 2;
  }
  if (EncodeSettingsKey(key) != text) return {};  // an escape where none is needed: a stranger's spelling
  return key;
}

}  // namespace vorn
