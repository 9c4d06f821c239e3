#pragma once

#include <QString>
#include <string>

namespace vorn::ui {

/// Text from the network made fit to be shown as one line: bytes that are no
/// UTF-8 become replacement characters, control characters and line breaks
/// become spaces, characters that steer the direction of their neighbours or
/// that nobody sees are dropped (foundation/SafeText.h lists them), white space
/// at both ends goes, and a very long text is cut with an ellipsis. Never blank:
/// a text of which nothing remains to be seen reads "(unnamed)". Pure.
[[nodiscard]] QString displayText(const std::string& bytes);

/// `text` for use inside a sentence: set apart by isolate characters when its
/// own letters run from right to left, so that the rest keeps its order.
[[nodiscard]] QString isolatedText(const QString& text);

/// `text` as a tool tip that is shown literally, never as markup.
[[nodiscard]] QString toolTipText(const QString& text);

/// `text` cut to a sensible width for the entry of a menu.
[[nodiscard]] QString shortText(const QString& text);

}  // namespace vorn::ui
