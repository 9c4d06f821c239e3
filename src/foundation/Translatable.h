#pragma once

#include <functional>
#include <string>

namespace vorn {

/// Marks a text of the core that people read, for the catalogues of translations. The text itself stays as it
/// is: a front end translates it where it shows it. `context` is always "Core", because the tools want to
/// read it here.
constexpr const char* Translatable(const char* /*context*/, const char* text) {
  return text;
}

/// A front end's translation of a marked text. Both are UTF-8.
using Translate = std::function<std::string(const char* text)>;

/// For a front end in the language of the sources.
[[nodiscard]] inline std::string Untranslated(const char* text) {
  return text;
}

}  // namespace vorn
