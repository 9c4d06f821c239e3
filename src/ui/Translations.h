#pragma once

#include <QString>
#include <string_view>

namespace vorn::ui {

/// Makes the application object speak the user's language. Texts come from the catalogue of the first of the
/// user's languages that has one, and are English if there is none. Windows are laid out in
/// the direction of the user's first language, with or without a catalogue. Call it once, after the
/// application object is made and before the first text. Main thread.
void useLanguageOfUser();

/// A text that the core has marked (foundation/Translatable.h), in that language.
[[nodiscard]] QString coreText(std::string_view text);

}  // namespace vorn::ui
