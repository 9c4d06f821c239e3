#include "ui/DisplayText.h"

#include <QChar>
#include <QList>
#include <algorithm>

#include "foundation/SafeText.h"

namespace vorn::ui {
namespace {

constexpr qsizetype kLongestText = 256;    // UTF-16 units; more than any row or tool tip can show
constexpr qsizetype kLongestBytes = 1024;  // no need to look at more of a hostile name
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

QString displayText(const std::string& bytes) {
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
  if (!hasSeen) return QStringLiteral("(unnamed)");
  return cut(clean.trimmed(), kLongestText);
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

QString shortText(const QString& text) {
  return cut(text, kLongestMenuText);
}

}  // namespace vorn::ui
