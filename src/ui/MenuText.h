#pragma once

#include <QString>
#include <cstdint>

class QAction;
class QMenu;

namespace vorn::ui {

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
