#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/settings/KeyPlaces.h"

namespace vorn {

/// An INI text. What is not ours stays unchanged in its place: comments, other groups, keys that
/// SettingsText.h never spells.
///
/// An unreadable line is skipped and stays too. A line is unreadable if it contains a NUL, or if it is
/// neither blank, comment, group nor "key=value", or if it is ours and its quotes are wrong. A group without
/// its closing bracket begins no other group, unless it names [General]. A byte-order mark, and lines that
/// end in CR and LF, are read and kept.
///
/// Ours are the "key=value" lines of the group [General] (or before any group), with keys and values spelled
/// as in SettingsText.h.
///
/// The file may grow large, so keys and values stay in the text (KeyPlaces.h).
///
/// @threadsafety Any thread may read. Nothing changes after Parse.
class IniDocument {
 public:
  using Value = std::vector<std::string>;
  using Changes = std::map<std::string, Value>;

  /// The longest text that is parsed. A longer one is not ours.
  static constexpr std::size_t kMaxSize = std::size_t{64} << 20U;

  /// An empty text.
  IniDocument() = default;
  IniDocument(IniDocument&&) = default;
  IniDocument& operator=(IniDocument&&) = default;
  IniDocument(const IniDocument&) = delete;
  IniDocument& operator=(const IniDocument&) = delete;
  ~IniDocument() = default;

  /// Empty if the text is not ours: it has unreadable lines, and neither [General] nor a value in it.
  [[nodiscard]] static std::optional<IniDocument> Parse(std::string text);

  /// The value of the real key, if there is one. If several lines have one key, the last one counts.
  [[nodiscard]] std::optional<Value> Find(const std::string& key) const;

  [[nodiscard]] bool HasValues() const { return !fKeys.IsEmpty(); }

  /// The numbers of the unreadable lines, counted from 1.
  [[nodiscard]] const std::vector<std::size_t>& UnreadableLines() const { return fUnreadable; }

  [[nodiscard]] const std::string& Text() const { return fText; }

  /// The text with these values: each one replaces its key's line, or is added at the end of [General].
  [[nodiscard]] std::string With(const Changes& changes) const;

 private:
  struct Edit;

  void AddLine(std::size_t number, std::size_t begin, std::size_t end);
  /// Whether the line can be read.
  [[nodiscard]] bool ReadLine(std::string_view content);
  [[nodiscard]] bool ReadGroup(std::string_view content);
  [[nodiscard]] bool ReadEntry(std::string_view content);
  [[nodiscard]] bool IsOurs() const { return fHasGeneral || HasValues(); }
  [[nodiscard]] std::vector<Edit> EditsFor(const Changes& changes) const;

  std::string fText;
  KeyPlaces fKeys;
  std::vector<std::size_t> fUnreadable;
  std::size_t fBegin = 0;         ///< of the first line, after a byte-order mark
  std::size_t fEndOfGeneral = 0;  ///< after the last line of [General] that is not blank
  std::string_view fLineEnd = "\n";
  bool fIsInGeneral = true;  ///< while parsing
  bool fHasGeneral = false;
};

}  // namespace vorn
