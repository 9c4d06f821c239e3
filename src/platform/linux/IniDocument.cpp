#include "platform/linux/IniDocument.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "foundation/ASCII.h"
#include "foundation/Hex.h"
#include "platform/linux/SettingsKey.h"

namespace vorn {
namespace {

constexpr std::string_view kBlanks = " \t\r";
constexpr std::string_view kGeneral = "[General]";

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
  if (text.find('\0') != std::string_view::npos) return {};
  IniDocument document;
  while (!text.empty()) {
    const auto line = text.substr(0, text.find('\n'));
    if (!document.AddLine(line)) return {};
    text.remove_prefix(std::min(line.size() + 1, text.size()));
  }
  return document;
}

bool IniDocument::AddLine(std::string_view text) {
  const auto content = WithoutBlanks(text);
  Line line{std::string(text), {}};
  bool isGeneralContent = fIsInGeneral && !content.empty();
  if (content.starts_with('[')) {
    if (!content.ends_with(']')) return false;
    fIsInGeneral = content == kGeneral;
    fHasGeneral = fHasGeneral || fIsInGeneral;
    isGeneralContent = fIsInGeneral;
  } else if (!content.empty() && content.front() != ';' && content.front() != '#') {
    const auto equals = content.find('=');
    if (equals == std::string_view::npos) return false;
    std::string key(WithoutBlanks(content.substr(0, equals)));
    if (fIsInGeneral && DecodeSettingsKey(key)) {
      fLineOfKey[key] = fLines.size();
      line.key = std::move(key);
    }
  }
  fLines.push_back(std::move(line));
  if (isGeneralContent) fEndOfGeneral = fLines.size();
  return true;
}

IniDocument::Values IniDocument::ReadAll() const {
  Values values;
  values.reserve(fLineOfKey.size());
  for (const auto& [spelled, index] : fLineOfKey) {
    const std::string_view line = fLines[index].text;
    auto value = ValueReader(line.substr(line.find('=') + 1)).Read();
    if (value) values[*DecodeSettingsKey(spelled)] = std::move(*value);
  }
  return values;
}

void IniDocument::Set(const std::string& key, const Value& value) {
  const std::string spelled = EncodeSettingsKey(key);
  std::string text = spelled + "=" + Written(value);
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
  std::string text;
  const auto append = [&text](std::string_view line) { text.append(line).append("\n"); };
  const bool needsGeneral = !fHasGeneral && fLineOfKey.empty() && !fAdded.empty();
  const std::size_t end = needsGeneral ? 0 : fEndOfGeneral;
  for (std::size_t i = 0; i < end; ++i) append(fLines[i].text);
  if (needsGeneral) append(kGeneral);
  for (const auto& line : fAdded) append(line.text);
  for (std::size_t i = end; i < fLines.size(); ++i) append(fLines[i].text);
  return text;
}

}  // namespace vorn
