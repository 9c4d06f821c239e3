#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "foundation/Optional.h"

namespace vorn {

/// An INI text, kept line by line: what is not ours (comments, other groups,
/// keys that SettingsKey.h never spells) stays byte for byte where it is.
///
/// Ours are the "key=value" lines of the group [General] (or before any
/// group), keys spelled by EncodeSettingsKey. A value is one text, or several
/// separated by commas; blanks around each are not part of it. A text stands as
/// it is where that is unmistakable, else in double quotes with \\ \" \n \r \t
/// and \xHH; so any bytes come back as they went in. An array without elements
/// is an empty value; an empty text is "".
///
/// @threadsafety One object, one thread.
class IniDocument {
 public:
  using Value = std::vector<std::string>;
  using Values = std::unordered_map<std::string, Value>;

  /// Empty when the text is no INI text: a NUL in it, or a line that is neither
  /// blank, comment, group nor "key=value".
  [[nodiscard]] static optional<IniDocument> Parse(std::string_view text);

  /// The readable values under their real keys. The last of several lines with
  /// one key counts; a value with faulty quotes is left out.
  [[nodiscard]] Values ReadAll() const;

  /// Replaces the key's line, or adds one at the end of [General].
  void Set(const std::string& key, const Value& value);

  [[nodiscard]] std::string Text() const;

 private:
  struct Line {
    std::string text;  ///< without its end
    std::string key;   ///< the spelled key where the line is ours, else empty
  };

  [[nodiscard]] bool AddLine(std::string_view text);

  std::vector<Line> fLines;
  std::unordered_map<std::string, std::size_t> fLineOfKey;  ///< by spelled key, index in fLines
  bool fIsInGeneral = true;                                 ///< while parsing
  bool fHasGeneral = false;
  std::vector<Line> fAdded;  ///< to stand at the end of [General]
  std::unordered_map<std::string, std::size_t> fAddedOfKey;
  std::size_t fEndOfGeneral = 0;  ///< index in fLines behind the last line of [General] that is not blank
};

}  // namespace vorn
