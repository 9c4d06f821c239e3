#include "ui/DisplayText.h"

#include <QChar>
#include <QList>
#include <algorithm>

namespace vorn::ui {
namespace {

constexpr qsizetype kLongestText = 256;    // UTF-16 units; more than any row or tool tip can show
constexpr qsizetype kLongestBytes = 1024;  // no need to look at more of a hostile name
constexpr qsizetype kLongestMenuText = 60;

enum class Treatment { Keep, Space, Drop };

bool steersDirection(char32_t c) {
  return c == 0x061C || c == 0x200E || c == 0x200F || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x206F);
}

bool isInvisibleMarkup(char32_t c) {
  return c == 0xFEFF || (c >= 0xFFF9 && c <= 0xFFFB) || (c >= 0xE0000 && c <= 0xE007F);
}

Treatment treatmentOf(char32_t c) {
  if (c == 0x2028 || c == 0x2029 || QChar::category(c) == QChar::Other_Control) return Treatment::Space;
  if (steersDirection(c) || isInvisibleMarkup(c)) return Treatment::Drop;
  return Treatment::Keep;
}

// Cuts before the limit without splitting a surrogate pair.
QString cut(const QString& text, qsizetype longest) {
  if (text.size() <= longest) return text;
  QString shorter = text.left(longest - 1);
  if (shorter.back().isHighSurrogate()) shorter.chop(1);
  return shorter + QChar(0x2026);
}

}  // namespace

QString displayText(const std::string& bytes) {
  const auto length = std::min(static_cast<qsizetype>(bytes.size()), kLongestBytes);
  const QString decoded = QString::fromUtf8(bytes.data(), length);
  QString clean;
  clean.reserve(decoded.size());
  for (const char32_t c : decoded.toUcs4()) {
    const Treatment treatment = treatmentOf(c);
    if (treatment == Treatment::Space) clean += u' ';
    if (treatment == Treatment::Keep) clean += QChar::fromUcs4(c);
  }
  clean = clean.trimmed();
  if (clean.isEmpty()) return QStringLiteral("(unnamed)");
  return cut(clean, kLongestText);
}

QString isolatedText(const QString& text) {
  const QList<uint> letters = text.toUcs4();
  const bool runsRightToLeft = std::any_of(letters.begin(), letters.end(), [](char32_t c) {
    const QChar::Direction direction = QChar::direction(c);
    return direction == QChar::DirR || direction == QChar::DirAL || direction == QChar::DirAN;
  });
  return runsRightToLeft ? QChar(0x2068) + text + QChar(0x2069) : text;
}

QString toolTipText(const QString& text) {
  return QStringLiteral("<span>%1</span>").arg(text.toHtmlEscaped().replace(u'\n', QStringLiteral("<br>")));
}

QString menuText(const QString& text) {
  return cut(text, kLongestMenuText).replace(u'&', QStringLiteral("&&"));
}

}  // namespace vorn::ui
