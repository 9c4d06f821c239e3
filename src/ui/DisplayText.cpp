#include "ui/DisplayText.h"

#include <QAction>
#include <QChar>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QList>
#include <QMenu>
#include <QVariant>
#include <algorithm>

#include "foundation/SafeText.h"

namespace vorn::ui {
namespace {

constexpr qsizetype kLongestText = 256;    // UTF-16 units; more than any row or tool tip can show
constexpr qsizetype kLongestBytes = 1024;  // no need to read more of a hostile name
constexpr qsizetype kLongestMenuText = 60;

bool isSeen(char32_t c) {
  return ShowingOf(c) == Showing::kDrawn && !QChar::isSpace(c);
}

// Cuts before the limit without splitting a surrogate pair.
QString cut(const QString& text, qsizetype longest) {
  if (text.size() <= longest) return text;
  QString shorter = text.left(longest - 1);
  if (shorter.back().isHighSurrogate()) shorter.chop(1);
  return shorter + QChar(0x2026);
}

}  // namespace

QString visibleText(const std::string& bytes) {
  const auto length = std::min(static_cast<qsizetype>(bytes.size()), kLongestBytes);
  const QString decoded = QString::fromUtf8(bytes.data(), length);
  QString clean;
  clean.reserve(decoded.size());
  bool hasSeen = false;
  for (const char32_t c : decoded.toUcs4()) {
    const Showing showing = ShowingOf(c);
    if (showing == Showing::kHides) continue;
    hasSeen = hasSeen || isSeen(c);
    clean += QChar::fromUcs4(showing == Showing::kBreaks ? U' ' : c);
  }
  return hasSeen ? cut(clean.trimmed(), kLongestText) : QString();
}

QString displayText(const std::string& bytes) {
  const QString text = visibleText(bytes);
  return text.isEmpty() ? QCoreApplication::translate("DisplayText", "(unnamed)") : text;
}

QString isolatedText(const QString& text) {
  if (text.isEmpty()) return {};
  const QList<uint> letters = text.toUcs4();
  const bool runsRightToLeft = std::any_of(letters.begin(), letters.end(), [](char32_t c) {
    const QChar::Direction direction = QChar::direction(c);
    return direction == QChar::DirR || direction == QChar::DirAL || direction == QChar::DirAN;
  });
  return runsRightToLeft || QGuiApplication::isRightToLeft() ? QChar(0x2068) + text + QChar(0x2069) : text;
}

QString toolTipText(const QString& text) {
  return QStringLiteral("<span>%1</span>").arg(text.toHtmlEscaped().replace(u'\n', QStringLiteral("<br>")));
}

QString shortText(const QString& text) {
  return cut(text, kLongestMenuText);
}

namespace {

constexpr char kLiteralText[] = "vornLiteralText";

constexpr QChar kLowMacron(0x02CD);  // looks like "_"

// On the way to the bus, the toolkit turns the first "&" into "_", unless it is the last character, and
// leaves the others. Hosts show "__" as "_" and hide a single "_", but one library that most bars use loses
// the first beside the second. So the first "&" becomes half of a pair if a "_" comes before it. Otherwise it
// becomes a single mark, and no "_" is sent beside it.
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
  // Unchanged texts are not set again, because each change travels to the host.
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
