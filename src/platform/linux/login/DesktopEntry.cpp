#include "platform/linux/login/DesktopEntry.h"

#include <algorithm>
#include <utility>

#include "foundation/Strings.h"

namespace vorn {
namespace {

constexpr char kGroup[] = "[Desktop Entry]";

std::string_view WithoutBlanks(std::string_view text) {
  return Trimmed(text, " \t\r");
}

bool IsControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

/// Reads the lines of a desktop file.
class EntryLines {
 public:
  explicit EntryLines(std::string_view file) : fRest(file) {}

  /// Goes to the next line; false after the last.
  bool Next() {
    if (fRest.empty()) return false;
    const auto end = fRest.find('\n');
    fLine = fRest.substr(0, end);
    fRest.remove_prefix(end == std::string_view::npos ? fRest.size() : end + 1);
    const auto content = WithoutBlanks(fLine);
    if (content.starts_with('[')) fInGroup = content == kGroup;
    return true;
  }
  [[nodiscard]] std::string_view Line() const { return fLine; }

  /// The value of `key` if the line in the group sets it; otherwise empty.
  [[nodiscard]] std::optional<std::string> ValueOf(std::string_view key) const {
    const auto equals = fLine.find('=');
    if (!fInGroup || equals == std::string_view::npos || WithoutBlanks(fLine.substr(0, equals)) != key) {
      return {};
    }
    return std::string(WithoutBlanks(fLine.substr(equals + 1)));
  }

 private:
  std::string_view fRest;
  std::string_view fLine;
  bool fInGroup = false;
};

}  // namespace

std::optional<std::string> DesktopEntryValue(std::string_view file, std::string_view key) {
  std::optional<std::string> value;
  for (EntryLines lines(file); lines.Next();) {
    if (auto found = lines.ValueOf(key)) value = std::move(found);
  }
  return value;
}

std::string WithDesktopEntryValue(std::string_view file, std::string_view key, std::string_view value) {
  std::string changed;
  for (EntryLines lines(file); lines.Next();) {
    if (lines.ValueOf(key)) {
      changed.append(key).append("=").append(value);
    } else {
      changed.append(lines.Line());
    }
    changed += '\n';
  }
  return changed;
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

std::optional<std::string> DesktopEntryExec(std::string_view path) {
  if (path.empty() || std::any_of(path.begin(), path.end(), IsControl)) return {};
  std::string quoted = "\"";
  for (const char c : path) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') quoted += '\\';
    if (c == '%') quoted += '%';
    quoted += c;
  }
  return DesktopEntryString(quoted + '"');
}

std::string ProgramOfDesktopEntryExec(std::string_view value) {
  const std::string command = TextOfDesktopEntryString(value);
  const bool isQuoted = command.starts_with('"');
  std::string program;
  for (std::size_t i = isQuoted ? 1 : 0; i < command.size(); ++i) {
    if (command[i] == (isQuoted ? '"' : ' ')) break;
    const bool isEscape = (isQuoted && command[i] == '\\') || command.compare(i, 2, "%%") == 0;
    if (isEscape && i + 1 < command.size()) ++i;
    program += command[i];
  }
  return program;
}

}  // namespace vorn
