#pragma once

#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/Optional.h"

namespace vorn {

/// The value's text as its own << writes it with default formatting, whatever
/// the program's global locale.
template <typename T>
[[nodiscard]] std::string SlowConvertToString(const T& value) {
  std::ostringstream stream;
  stream.imbue(std::locale::classic());
  stream << value;
  return stream.str();
}

/// The value that the text begins with, read by its own >>; what follows it is
/// ignored. Empty when the reading failed. The program's global locale has no
/// part in it.
template <typename T>
optional<T> SlowConvertFromStringAllowRemainder(const std::string& text) {
  std::istringstream stream(text);
  stream.imbue(std::locale::classic());
  T value{};
  stream >> value;
  if (stream.fail()) return {};  // failbit or badbit; reaching the end is no failure
  return value;
}

/// The pieces between ":" separators, in order and untrimmed. An empty piece
/// is kept except after a trailing separator; an empty text has no pieces.
[[nodiscard]] std::vector<std::string> GetEmbeddedValues(const std::string& text);

}  // namespace vorn
