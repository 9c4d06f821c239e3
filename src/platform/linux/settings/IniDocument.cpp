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

std::optional<IniDocument> IniDocument::Parse(std::string text) {
  if (text.size() > kMaxSize) return {};
  IniDocument document;
  document.fText = std::move(text);
  const std::string_view all = document.fText;
  if (all.starts_with(kByteOrderMark)) document.fBegin = kByteOrderMark.size();
  if (all.substr(0, all.find('\n')).ends_with('\r')) document.fLineEnd = "\r\n";
  document.fEndOfGeneral = document.fBegin;
  std::size_t number = 0;
  for (std::size_t begin = document.fBegin; begin < all.size();) {
    const auto end = std::min(all.find('\n', begin), all.size());
    document.AddLine(++number, begin, end);
    begin = end + 1;
  }
  document.fKeys.Sort(all);
  if (!document.fUnreadable.empty() && !document.IsOurs()) return {};
  return document;
}

void IniDocument::AddLine(std::size_t number, std::size_t begin, std::size_t end) {
  const auto content = WithoutBlanks(std::string_view(fText).substr(begin, end - begin));
  if (!ReadLine(content)) fUnreadable.push_back(number);
  if (fIsInGeneral && !content.empty()) fEndOfGeneral = std::min(end + 1, fText.size());
}

bool IniDocument::ReadLine(std::string_view content) {
  if (content.empty()) return true;
  if (content.find('\0') != std::string_view::npos) return false;
  if (content.front() == '[') return ReadGroup(content);
  return content.front() == ';' || content.front() == '#' || ReadEntry(content);
}

bool IniDocument::ReadGroup(std::string_view content) {
  const bool isClosed = content.ends_with(']');
  const bool isGeneral = content == kGeneral || content == kGeneral.substr(0, kGeneral.size() - 1);
  if (isClosed || isGeneral) fIsInGeneral = isGeneral;
  fHasGeneral = fHasGeneral || isGeneral;
  return isClosed;
}

bool IniDocument::ReadEntry(std::string_view content) {
  const auto equals = content.find('=');
  if (equals == std::string_view::npos) return false;
  const auto key = WithoutBlanks(content.substr(0, equals));
  if (!fIsInGeneral || !IsSettingsKey(key)) return true;
  if (!IsSettingsValue(content.substr(equals + 1))) return false;
  fKeys.Add(fText, static_cast<std::size_t>(key.data() - fText.data()), key.size());
  return true;
}

std::optional<IniDocument::Value> IniDocument::Find(const std::string& key) const {
  const auto place = fKeys.Find(fText, EncodeSettingsKey(key));
  if (!place) return {};
  auto line = std::string_view(fText).substr(*place);
  line = line.substr(0, line.find('\n'));
  return DecodeSettingsValue(line.substr(line.find('=') + 1));
}

/// Lines in the place of others.
struct IniDocument::Edit {
  std::size_t begin;
  std::size_t end;  ///< the same: nothing is replaced
  std::string lines;
};

// In the order of their places.
std::vector<IniDocument::Edit> IniDocument::EditsFor(const Changes& changes) const {
  std::vector<Edit> edits;
  Edit added{fEndOfGeneral, fEndOfGeneral, {}};
  for (const auto& [key, value] : changes) {
    const auto spelled = EncodeSettingsKey(key);
    const auto line = (spelled + "=" + EncodeSettingsValue(value)).append(fLineEnd);
    if (const auto place = fKeys.Find(fText, spelled)) {
      const auto begin = std::max(fBegin, fText.rfind('\n', *place) + 1);  // npos + 1 is 0
      const auto end = std::min(fText.find('\n', *place), fText.size() - 1) + 1;
      edits.push_back({begin, end, line});
    } else {
      added.lines += line;
    }
  }
  if (!added.lines.empty() && !IsOurs()) {
    added.begin = added.end = fBegin;
    added.lines.insert(0, std::string(kGeneral).append(fLineEnd));
  }
  if (!added.lines.empty()) edits.push_back(std::move(added));
  std::sort(edits.begin(), edits.end(), [](const Edit& a, const Edit& b) { return a.begin < b.begin; });
  return edits;
}

std::string IniDocument::With(const Changes& changes) const {
  const auto edits = EditsFor(changes);
  std::size_t size = fText.size() + 2;
  for (const auto& edit : edits) size += edit.lines.size();
  std::string text;
  text.reserve(size);
  const auto endLine = [&] {
    if (text.size() > fBegin && text.back() != '\n') text += '\n';
  };
  std::size_t taken = 0;
  for (const auto& edit : edits) {
    text.append(fText, taken, edit.begin - taken);
    endLine();
    text += edit.lines;
    taken = edit.end;
  }
  text.append(fText, taken);
  endLine();
  return text;
}

}  // namespace vorn
