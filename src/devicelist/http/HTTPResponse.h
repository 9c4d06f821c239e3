#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace DeviceList {

/// The header fields of one HTTP response, found by name without regard to
/// case. Built line by line from a stranger's bytes: any bytes are accepted,
/// what is no field is left out, nothing throws but std::bad_alloc. Adding a
/// line costs the line's length, finding a field the length of the header: a
/// bound on the header bounds the work.
///
/// A plain value: no thread rules of its own.
class HeaderFields {
 public:
  /// A field as it stood in one line.
  struct Field {
    std::string name;   ///< as sent, not empty, without white space or control characters
    std::string value;  ///< without white space at its ends; never holds NUL, CR or LF
  };

  /// Reads one line, "Name: value", with or without its line end. Empty when
  /// the line is none (a status line, a blank line, a continuation, garbage).
  static std::optional<Field> Parse(std::string_view line);

  /// Adds the field in the line. A line that begins with a blank or a tab goes
  /// on with the value of the line before it (the obsolete folded form); a
  /// line that is no field is left out.
  void AddLine(std::string_view line);

  /// The field's value; empty when there is none of that name. Several fields
  /// of one name give their values in order, joined by ", ".
  [[nodiscard]] std::optional<std::string> Find(std::string_view name) const;

  void Clear() noexcept;

 private:
  std::vector<Field> fFields;  ///< in the order of their lines
  bool fCanFold = false;       ///< the line before was a field (or went on with one)
};

/// What a server said beside the body: its status and its header.
struct HTTPResponse {
  long statusCode = 0;           ///< of the last response: 200, 304, 404 ...
  HeaderFields allHeaderFields;  ///< of the last response, trailers not included
};

/// The body's bytes (decoded, at most 1 MiB) and the response they came with.
using HTTPAnswer = std::pair<std::string, HTTPResponse>;

}  // namespace DeviceList
