#pragma once

#include <QString>
#include <cstdint>
#include <string>

class QAction;
class QMenu;

namespace vorn::ui {

/// Text from the network as one safe line. Bytes that are not UTF-8 become replacement characters. Control
/// characters and line breaks become spaces. Characters that steer the direction of their neighbours, or that
/// nobody sees, are dropped (foundation/SafeText.h lists them). White space at both ends is removed, and a
/// very long text is cut with an ellipsis. Empty if no character is visible. Pure.
[[nodiscard]] QString visibleText(const std::string& bytes);

/// The same for a name, which is never empty: "(unnamed)". Pure.
[[nodiscard]] QString displayText(const std::string& bytes);

/// `text` for use inside a sentence. If its own letters or the program's windows run from right to left,
/// isolate characters surround it, so that the rest keeps its order.
[[nodiscard]] QString isolatedText(const QString& text);

/// `text` as a tool tip that is shown literally, never as markup.
[[nodiscard]] QString toolTipText(const QString& text);

/// `text` cut to a sensible width for a menu entry.
[[nodiscard]] QString shortText(const QString& text);

/// The part that draws a menu. Each form has its own mark for the letter that chooses an entry. So a literal
/// text is written differently in each.
enum class MenuForm : std::uint8_t {
  Drawn,     ///< the toolkit, whose mark is "&"
  Exported,  ///< the status item's host, which gets the menu over D-Bus, where the mark is "_"
};

/// `text` in a spelling for which a menu of this form shows exactly that. Pure.
[[nodiscard]] QString menuText(const QString& text, MenuForm form);

/// Gives the entry a text that is shown literally, now and in any later form of its menu. Main thread.
void setLiteralText(QAction& entry, const QString& text, MenuForm form);

/// Writes all literal texts of the menu and its submenus again, for this form. Main thread.
void showIn(MenuForm form, const QMenu& menu);

}  // namespace vorn::ui
