#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/Optional.h"

namespace vorn {

/// An INI text, kept line by line: what is not ours (comments, other groups,
/// keys that SettingsText.h never spells) stays byte for byte where it is.
///
/// A line that cannot be read is skipped and stays as well: it holds a NUL, or
/// it is neither blank, comment, group nor "key=value", or it is ours and its
/// quotes are faulty. A group whose bracket is not closed begins no other
/// group, unless it names [General]. A byte-order mark and lines that end in CR
/// and LF are read and kept.
///
/// Ours are the "key=value" lines of the group [General] (or before any
/// group), keys and values spelled as SettingsText.h says.
///
/// @threadsafety One object, one thread.
class IniDocument {
 public:
  using Value = std::vector<std::string>;
  using Values = std::unordered_map<std::string, Value>;

  /// Empty when the text is not ours: it has lines that cannot be read, and
  /// neither [General] nor a value in it.
  [[nodiscard]] static optional<IniDocument> Parse(std::string_view text);

  /// The values under their real keys. The last of several lines with one key
  /// counts.
  [[nodiscard]] Values ReadAll() const;

  /// The numbers of the lines that cannot be read, counted from 1.
  [[nodiscard]] const std::vector<std::size_t>& UnreadableLines() const { return fUnreadable; }

  /// Replaces the key's line, or adds one at the end of [General].
  void Set(const std::string& key, const Value& value);

  [[nodiscard]] std::string Text() const;

 private:
  struct Line {
    std::string text;  ///< without its end
    std::string key;   ///< the spelled key where the line is ours, else empty
  };

  void AddLine(std::string_view text);
  /// Whether the line can be read; `key` is set where it is ours.
  [[nodiscard]] bool ReadLine(std::string_view content, std::string& key);
  [[nodiscard]] bool ReadGroup(std::string_view content);
  [[nodiscard]] bool ReadEntry(std::string_view content, std::string& key) const;
  [[nodiscard]] bool IsOurs() const { return fHasGeneral || !fLineOfKey.empty(); }

  std::string_view fByteOrderMark;  ///< what stood before the first line
  std::string_view fLineEnd = "\n";
  std::vector<Line> fLines;
  std::vector<std::size_t> fUnreadable;
  std::unordered_map<std::string, std::size_t> fLineOfKey;  ///< by spelled key, index in fLines
  bool fIsInGeneral = true;                                 ///< while parsing
  bool fHasGeneral = false;
  std::vector<Line> fAdded;  ///< to stand at the end of [General]
  std::unordered_map<std::string, std::size_t> fAddedOfKey;
  std::size_t fEndOfGeneral = 0;  ///< index in fLines behind the last line of [General] that is not blank
};

}  // namespace vorn
