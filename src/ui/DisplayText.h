#pragma once

#include <QString>
#include <cstdint>
#include <string>

class QAction;
class QMenu;

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

/// Who draws a menu. Each form has its own mark for the letter that chooses an
/// entry, so a text that is to be read literally is written differently.
enum class MenuForm : std::uint8_t {
  Drawn,     ///< the toolkit, whose mark is "&"
  Exported,  ///< the status item's host, which gets it over D-Bus, where the mark is "_"
};

/// `text` written so that a menu of this form shows exactly that. Pure.
[[nodiscard]] QString menuText(const QString& text, MenuForm form);

/// Gives the entry a text that is shown literally, now and in any form that its
/// menu is shown in later. Main thread.
void setLiteralText(QAction& entry, const QString& text, MenuForm form);

/// Writes all literal texts of the menu and its submenus anew, for this form.
/// Main thread.
void showIn(MenuForm form, const QMenu& menu);

}  // namespace vorn::ui
