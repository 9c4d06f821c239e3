#include "platform/linux/settings/IniDocument.h"

#include <algorithm>
#include <utility>

#include "foundation/Strings.h"
#include "platform/linux/settings/SettingsText.h"

namespace vorn {
namespace {

constexpr std::string_view kGeneral = "[General]";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

std::string_view WithoutBlanks(std::string_view text) {
  return Trimmed(text, kSettingsBlanks);
}

}  // namespace

std::optional<IniDocument> IniDocument::Parse(std::string_view text) {
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
  if (!DecodeSettingsValue(content.substr(equals + 1))) return false;
  key = std::move(spelled);
  return true;
}

IniDocument::Values IniDocument::ReadAll() const {
  Values values;
  values.reserve(fLineOfKey.size());
  for (const auto& [spelled, index] : fLineOfKey) {
    const std::string_view line = fLines[index].text;
    values[*DecodeSettingsKey(spelled)] = *DecodeSettingsValue(line.substr(line.find('=') + 1));
  }
  return values;
}

void IniDocument::Set(const std::string& key, const Value& value) {
  const std::string spelled = EncodeSettingsKey(key);
  std::string text = spelled + "=" + EncodeSettingsValue(value);
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
