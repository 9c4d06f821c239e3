#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace vorn::devicelisttool {

/// From now on, texts are in the user's language, if `folder` has a catalogue for it: the locale for messages
/// and LANGUAGE choose it, as for other programs. Call it before any other thread starts.
void UseLanguageOfUser(const std::filesystem::path& folder);

/// The text in the user's language, with the values in the places %1, %2 and so on. Any thread.
[[nodiscard]] std::string Translated(const char* text, const std::vector<std::string>& values = {});

/// The same for a text with a number in the place %1, in the form that this number needs.
[[nodiscard]] std::string TranslatedCount(const char* one, const char* several, std::size_t count);

}  // namespace vorn::devicelisttool
