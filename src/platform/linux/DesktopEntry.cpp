#include "platform/linux/DesktopEntry.h"

#include <algorithm>

#include "foundation/ASCII.h"

namespace vorn {
namespace {

constexpr char kGroup[] = "[Desktop Entry]";

std::string_view WithoutBlanks(std::string_view text) {
  return Trimmed(text, " \t\r");
}

bool IsControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

/// Takes the first line off `rest`.
std::string_view NextLine(std::string_view& rest) {
  const auto end = rest.find('\n');
  const auto line = rest.substr(0, end);
  rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  return line;
}

}  // namespace

optional<std::string> DesktopEntryValue(std::string_view file, std::string_view key) {
  optional<std::string> value;
  bool inGroup = false;
  while (!file.empty()) {
    const auto line = WithoutBlanks(NextLine(file));
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      inGroup = line == kGroup;
      continue;
    }
    const auto equals = line.find('=');
    if (!inGroup || equals == std::string_view::npos || WithoutBlanks(line.substr(0, equals)) != key)
      continue;
    value = std::string(WithoutBlanks(line.substr(equals + 1)));
  }
  return value;
}

bool DesktopEntryIsTrue(std::string_view file, std::string_view key) {
  const auto value = DesktopEntryValue(file, key);
  return value && (*value == "true" || *value == "1");
}

bool DesktopEntryIsFalse(std::string_view file, std::string_view key) {
  const auto value = DesktopEntryValue(file, key);
  return value && (*value == "false" || *value == "0");
}

std::string DesktopEntryString(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '\\':
        escaped += "\\\\";
        break;
      case '\n':
        escaped += "\\n";
        break;
      case '\t':
        escaped += "\\t";
        break;
      case '\r':
        escaped += "\\r";
        break;
      default:
        if (!IsControl(c)) escaped += c;
    }
  }
  return escaped;
}

std::string TextOfDesktopEntryString(std::string_view value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      text += value[i];
      continue;
    }
    switch (value[++i]) {
      case 's':
        text += ' ';
        break;
      case 'n':
        text += '\n';
        break;
      case 't':
        text += '\t';
        break;
      case 'r':
        text += '\r';
        break;
      default:
        text += value[i];
    }
  }
  return text;
}

optional<std::string> DesktopEntryExec(std::string_view path) {
  if (path.empty() || std::any_of(path.begin(), path.end(), IsControl)) return {};
  std::string quoted = "\"";
  for (const char c : path) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
    if (c == '%') quoted += '%';
    quoted += c;
  }
  return DesktopEntryString(quoted + '"');
}

}  // namespace vorn
