#include "ui/MenuText.h"

#include <QAction>
#include <QMenu>
#include <QVariant>

namespace vorn::ui {
namespace {

constexpr char kLiteralText[] = "vornLiteralText";

constexpr QChar kLowMacron(0x02CD);  // looks like "_"

// On its way to the bus the toolkit turns the first "&" into "_", unless it is the last character, and leaves
// every other. Hosts show "__" as "_" and hide a "_" that stands alone, but one library that most bars use
// loses the former beside the latter. So the first "&" becomes half of a pair where a "_" comes before it, or
// else a mark that stands alone, beside which no "_" is sent.
QString exportedText(QString text) {
  const qsizetype ampersand = text.indexOf(u'&');
  const qsizetype underscore = text.indexOf(u'_');
  const bool converts = ampersand >= 0 && ampersand < text.size() - 1;
  if (converts && (underscore < 0 || ampersand < underscore)) return u'&' + text.replace(u'_', kLowMacron);
  text.replace(u'_', QStringLiteral("__"));
  if (converts) text[underscore] = u'&';
  return text;
}

}  // namespace

QString menuText(const QString& text, MenuForm form) {
  if (form == MenuForm::Exported) return exportedText(text);
  return QString(text).replace(u'&', QStringLiteral("&&"));
}

void setLiteralText(QAction& entry, const QString& text, MenuForm form) {
  entry.setProperty(kLiteralText, text);
  // Unchanged texts are not set again: each change travels to the host.
  if (const QString written = menuText(text, form); entry.text() != written) entry.setText(written);
}

void showIn(MenuForm form, const QMenu& menu) {
  for (QAction* entry : menu.actions()) {
    const QVariant text = entry->property(kLiteralText);
    if (text.isValid()) setLiteralText(*entry, text.toString(), form);
    if (entry->menu()) showIn(form, *entry->menu());
  }
}

}  // namespace vorn::ui
