#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace DeviceList {

/// The header fields of one HTTP response, found by name without regard to case. Built line by line from a
/// stranger's bytes: any bytes are accepted, a line that is no field is ignored, and only std::bad_alloc is
/// thrown. Adding a line costs the line's length, and finding a field costs the length of the header. So a
/// bound on the header bounds the work.
///
/// A plain value without thread rules.
class HeaderFields {
 public:
  /// A field as it was written in one line.
  struct Field {
    std::string name;   ///< as sent, not empty, without white space or control characters
    std::string value;  ///< without white space at its ends; never contains NUL, CR or LF
  };

  /// Reads one line, "Name: value", with or without its line end. Empty if the line is no field (a status
  /// line, a blank line, a continuation, garbage).
  static std::optional<Field> Parse(std::string_view line);

  /// Adds the field in the line. A line that begins with a blank or a tab continues the value of the line
  /// before it (the obsolete folded form). A line that is no field is ignored.
  void AddLine(std::string_view line);

  /// The field's value; empty if there is no such field. The values of several fields of one name are joined
  /// in order with ", ".
  [[nodiscard]] std::optional<std::string> Find(std::string_view name) const;

  void Clear() noexcept;

 private:
  std::vector<Field> fFields;  ///< in the order of their lines
  bool fCanFold = false;       ///< the line before was a field, or continued one
};

/// The answer without the body: its status and its header.
struct HTTPResponse {
  long statusCode = 0;           ///< of the last response: 200, 304, 404 ...
  HeaderFields allHeaderFields;  ///< of the last response, without trailers
  std::string address;           ///< the address that sent the last response

  /// Whether the body is what was asked for: the status is 200.
  [[nodiscard]] bool IsOK() const noexcept { return statusCode == 200; }
};

/// The body's bytes (decoded, at most 1 MiB) and the response that it came with.
using HTTPAnswer = std::pair<std::string, HTTPResponse>;

}  // namespace DeviceList
