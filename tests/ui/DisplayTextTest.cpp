#include <gtest/gtest.h>

#include <QTextDocument>

#include "ui/DisplayText.h"

namespace vorn::ui {
namespace {

TEST(DisplayText, KeepsOrdinaryNamesInAnyScript) {
  EXPECT_EQ(displayText("Studio A"), "Studio A");
  EXPECT_EQ(displayText("B\xC3\xBChne 3"), QStringLiteral("B\u00FChne 3"));
  EXPECT_EQ(displayText("\xD7\x90\xD7\x95\xD7\x9C\xD7\xA4\xD7\x9F"),
            QStringLiteral("\u05D0\u05D5\u05DC\u05E4\u05DF"));
  EXPECT_EQ(displayText("\xF0\x9F\x8E\xB8 rack"), QStringLiteral("\U0001F3B8 rack"));
}

TEST(DisplayText, ReplacesBytesThatAreNoText) {
  EXPECT_EQ(displayText("a\xFF\xFEz"), QStringLiteral("a\uFFFD\uFFFDz"));
  EXPECT_EQ(displayText("\xC3"), QStringLiteral("\uFFFD"));
}

TEST(DisplayText, TurnsControlsAndLineBreaksIntoSpaces) {
  EXPECT_EQ(displayText(std::string("a\nb\tc\0d\x1B"
                                    "e\x7F"
                                    "f",
                                    11)),
            "a b c d e f");
  EXPECT_EQ(displayText("a\xE2\x80\xA8z\xE2\x80\xA9y\xC2\x85x"), "a z y x");
}

TEST(DisplayText, DropsWhatSteersDirection) {
  const QString steering = QStringLiteral(
      "a\u202Eb\u202Dc\u202Ad\u202Be\u202Cf\u2066g\u2067h\u2068i\u2069j\u200Ek\u200Fl\u061Cm\uFEFFn");
  EXPECT_EQ(displayText(steering.toStdString()), "abcdefghijklmn");
  EXPECT_EQ(displayText(QStringLiteral("tag\U000E0041\uFFF9end").toStdString()), "tagend");
}

TEST(DisplayText, IsNeverEmpty) {
  EXPECT_EQ(displayText(""), "(unnamed)");
  EXPECT_EQ(displayText(" \n\t "), "(unnamed)");
  EXPECT_EQ(displayText("\xE2\x80\xAE"), "(unnamed)");
}

TEST(DisplayText, IsNeverBlank) {
  for (const char* blank :
       {"\u200b", "\u2060", "\u2061", "\u2064", "\u00ad", "\u3164", "\uffa0", "\u200d", "\u034f", "\ufe0f",
        "\u2800", "\u115f\u1160", "\u180e", "\U000E0101", "\u00a0\u200b\u3000", " \u200c \u200d "}) {
    EXPECT_EQ(displayText(blank), "(unnamed)") << blank;
  }
}

TEST(DisplayText, DropsWhatNobodySeesAndKeepsWhatShapesItsNeighbours) {
  EXPECT_EQ(displayText("A\u200bB\u2060C\u00adD\u3164E\u2064F"), "ABCDEF");
  for (const char* shaped : {"\u0645\u06cc\u200c\u062e\u0648\u0627\u0647\u0645", "\u2764\ufe0f",
                             "\U0001F469\u200d\U0001F3A4", "\u845b\U000E0100"}) {
    EXPECT_EQ(displayText(shaped), QString::fromUtf8(shaped));
  }
}

TEST(DisplayText, CutsVeryLongTextWithoutBreakingACharacter) {
  const QString plain = displayText(std::string(100000, 'x'));
  EXPECT_EQ(plain.size(), 256);
  EXPECT_TRUE(plain.endsWith(QChar(0x2026)));
  std::string guitars = "x";
  for (int i = 0; i < 1000; ++i) guitars += "\xF0\x9F\x8E\xB8";
  const QString cut = displayText(guitars);
  EXPECT_LE(cut.size(), 256);
  EXPECT_TRUE(cut.isValidUtf16());
  EXPECT_TRUE(displayText(std::string(1023, 'x') + "\xC3\xBC").isValidUtf16());
}

TEST(DisplayText, SetsApartOnlyWhatRunsFromRightToLeft) {
  EXPECT_EQ(isolatedText("Studio A"), "Studio A");
  EXPECT_EQ(isolatedText(QStringLiteral("\u05D0\u05D5")), QStringLiteral("\u2068\u05D0\u05D5\u2069"));
}

TEST(DisplayText, ToolTipShowsMarkupLiterally) {
  QTextDocument shown;
  shown.setHtml(toolTipText("<img src=x> & <b>bold</b>\nsecond"));
  EXPECT_EQ(shown.toPlainText(), "<img src=x> & <b>bold</b>\nsecond");
}

TEST(DisplayText, MenuTitleStaysNarrow) {
  EXPECT_EQ(shortText("Drums & Bass"), "Drums & Bass");
  EXPECT_EQ(shortText(QString(100, u'x')).size(), 60);
}

}  // namespace
}  // namespace vorn::ui
