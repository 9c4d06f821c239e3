#include "platform/linux/settings/IniDocument.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "foundation/Strings.h"
#include "platform/linux/settings/SettingsKey.h"

namespace vorn {
namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::string_view kGeneral = "[General]";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

std::string_view WithoutBlanks(std::string_view text) {
  return Trimmed(text, kBlanks);
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

std::string Written(const IniDocument::Value& value) {
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

/// Takes a value apart from its front.
class ValueReader {
 public:
  explicit ValueReader(std::string_view rest) : fRest(WithoutBlanks(rest)) {}

  [[nodiscard]] optional<IniDocument::Value> Read() {
    IniDocument::Value value;
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
  optional<std::string> ReadPlain() {
    const auto text = fRest.substr(0, fRest.find(','));
    fRest.remove_prefix(text.size());
    return std::string(WithoutBlanks(text));
  }

  optional<std::string> ReadQuoted() {
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

optional<IniDocument> IniDocument::Parse(std::string_view text) {
  IniDocument document;
  if (text.starts_with(kByteOrderMark)) {
    document.fByteOrderMark = kByteOrderMark;
    text.remove_prefix(kByteOrderMark.size());
  }
  if (text.substr(0, text.find('\n')).ends_with('\r')) document.fLineEnd = "\r\n";
  while (!text.empty()) {
    const auto line = text.substr(0, text.find('\n'));
    document.AddLine(line);
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  if (!document.fUnreadable.empty() && !document.IsOurs()) return {};
  return document;
}

void IniDocument::AddLine(std::string_view text) {
  const auto content = WithoutBlanks(text);
  Line line{std::string(text), {}};
  const bool isReadable = ReadLine(content, line.key);
  if (!line.key.empty()) fLineOfKey[line.key] = fLines.size();
  fLines.push_back(std::move(line));
  if (!isReadable) fUnreadable.push_back(fLines.size());
  if (fIsInGeneral && !content.empty()) fEndOfGeneral = fLines.size();
}

bool IniDocument::ReadLine(std::string_view content, std::string& key) {
  if (content.empty()) return true;
  if (content.find('\0') != std::string_view::npos) return false;
  if (content.front() == '[') return ReadGroup(content);
  return content.front() == ';' || content.front() == '#' || ReadEntry(content, key);
}

bool IniDocument::ReadGroup(std::string_view content) {
  const bool isClosed = content.ends_with(']');
  const bool isGeneral = content == kGeneral || content == kGeneral.substr(0, kGeneral.size() - 1);
  if (isClosed || isGeneral) fIsInGeneral = isGeneral;
  fHasGeneral = fHasGeneral || isGeneral;
  return isClosed;
}

bool IniDocument::ReadEntry(std::string_view content, std::string& key) const {
  const auto equals = content.find('=');
  if (equals == std::string_view::npos) return false;
  std::string spelled(WithoutBlanks(content.substr(0, equals)));
  if (!fIsInGeneral || !DecodeSettingsKey(spelled)) return true;
  if (!ValueReader(content.substr(equals + 1)).Read()) return false;
  key = std::move(spelled);
  return true;
}

IniDocument::Values IniDocument::ReadAll() const {
  Values values;
  values.reserve(fLineOfKey.size());
  for (const auto& [spelled, index] : fLineOfKey) {
    const std::string_view line = fLines[index].text;
    values[*DecodeSettingsKey(spelled)] = *ValueReader(line.substr(line.find('=') + 1)).Read();
  }
  return values;
}

void IniDocument::Set(const std::string& key, const Value& value) {
  const std::string spelled = EncodeSettingsKey(key);
  std::string text = spelled + "=" + Written(value);
  text += fLineEnd.substr(0, fLineEnd.size() - 1);
  const auto found = fLineOfKey.find(spelled);
  if (found != fLineOfKey.end()) {
    fLines[found->second].text = std::move(text);
    return;
  }
  const auto [added, isNew] = fAddedOfKey.try_emplace(spelled, fAdded.size());
  if (isNew) fAdded.emplace_back();
  fAdded[added->second] = {std::move(text), spelled};
}

std::string IniDocument::Text() const {
  std::string text(fByteOrderMark);
  const auto append = [&text](std::string_view line) { text.append(line).append("\n"); };
  const bool needsGeneral = !IsOurs() && !fAdded.empty();
  const std::size_t end = needsGeneral ? 0 : fEndOfGeneral;
  for (std::size_t i = 0; i < end; ++i) append(fLines[i].text);
  if (needsGeneral) text.append(kGeneral).append(fLineEnd);
  for (const auto& line : fAdded) append(line.text);
  for (std::size_t i = end; i < fLines.size(); ++i) append(fLines[i].text);
  return text;
}

}  // namespace vorn
