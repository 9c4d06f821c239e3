#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vorn {

/// An INI text, kept line by line. What is not ours stays unchanged in its place: comments, other groups,
/// keys that SettingsText.h never spells.
///
/// An unreadable line is skipped and stays too. A line is unreadable if it contains a NUL, or if it is
/// neither blank, comment, group nor "key=value", or if it is ours and its quotes are wrong. A group without
/// its closing bracket begins no other group, unless it names [General]. A byte-order mark, and lines that
/// end in CR and LF, are read and kept.
///
/// Ours are the "key=value" lines of the group [General] (or before any group), with keys and values spelled
/// as in SettingsText.h.
///
/// @threadsafety One object, one thread.
class IniDocument {
 public:
  using Value = std::vector<std::string>;
  using Values = std::unordered_map<std::string, Value>;

  /// Empty if the text is not ours: it has unreadable lines, and neither [General] nor a value in it.
  [[nodiscard]] static std::optional<IniDocument> Parse(std::string_view text);

  /// The values under their real keys. If several lines have one key, the last one counts.
  [[nodiscard]] Values ReadAll() const;

  /// The numbers of the unreadable lines, counted from 1.
  [[nodiscard]] const std::vector<std::size_t>& UnreadableLines() const { return fUnreadable; }

  /// Replaces the key's line, or adds one at the end of [General].
  void Set(const std::string& key, const Value& value);

  [[nodiscard]] std::string Text() const;

 private:
  struct Line {
    std::string text;  ///< without its end
    std::string key;   ///< the spelled key if the line is ours, otherwise empty
  };

  void AddLine(std::string_view text);
  /// Whether the line can be read. Sets `key` if it is ours.
  [[nodiscard]] bool ReadLine(std::string_view content, std::string& key);
  [[nodiscard]] bool ReadGroup(std::string_view content);
  [[nodiscard]] bool ReadEntry(std::string_view content, std::string& key) const;
  [[nodiscard]] bool IsOurs() const { return fHasGeneral || !fLineOfKey.empty(); }

  std::string_view fByteOrderMark;  ///< the bytes before the first line
  std::string_view fLineEnd = "\n";
  std::vector<Line> fLines;
  std::vector<std::size_t> fUnreadable;
  std::unordered_map<std::string, std::size_t> fLineOfKey;  ///< by spelled key, index in fLines
  bool fIsInGeneral = true;                                 ///< while parsing
  bool fHasGeneral = false;
  std::vector<Line> fAdded;  ///< for the end of [General]
  std::unordered_map<std::string, std::size_t> fAddedOfKey;
  std::size_t fEndOfGeneral = 0;  ///< index in fLines after the last line of [General] that is not blank
};

}  // namespace vorn
