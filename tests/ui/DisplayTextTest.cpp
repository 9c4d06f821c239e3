#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>
#include <QTextDocument>
#include <functional>

#include "ui/DisplayText.h"

namespace vorn::ui {
namespace {

TEST(DisplayTextTest, KeepsOrdinaryNamesInAnyScript) {
  EXPECT_EQ(displayText("Studio A"), "Studio A");
  EXPECT_EQ(displayText("B\xC3\xBChne 3"), QStringLiteral("B\u00FChne 3"));
  EXPECT_EQ(displayText("\xD7\x90\xD7\x95\xD7\x9C\xD7\xA4\xD7\x9F"),
            QStringLiteral("\u05D0\u05D5\u05DC\u05E4\u05DF"));
  EXPECT_EQ(displayText("\xF0\x9F\x8E\xB8 rack"), QStringLiteral("\U0001F3B8 rack"));
}

TEST(DisplayTextTest, ReplacesBytesThatAreNoText) {
  EXPECT_EQ(displayText("a\xFF\xFEz"), QStringLiteral("a\uFFFD\uFFFDz"));
  EXPECT_EQ(displayText("\xC3"), QStringLiteral("\uFFFD"));
}

TEST(DisplayTextTest, TurnsControlsAndLineBreaksIntoSpaces) {
  EXPECT_EQ(displayText(std::string("a\nb\tc\0d\x1B"
                                    "e\x7F"
                                    "f",
                                    11)),
            "a b c d e f");
  EXPECT_EQ(displayText("a\xE2\x80\xA8z\xE2\x80\xA9y\xC2\x85x"), "a z y x");
}

TEST(DisplayTextTest, DropsWhatSteersDirection) {
  const QString steering = QStringLiteral(
      "a\u202Eb\u202Dc\u202Ad\u202Be\u202Cf\u2066g\u2067h\u2068i\u2069j\u200Ek\u200Fl\u061Cm\uFEFFn");
  EXPECT_EQ(displayText(steering.toStdString()), "abcdefghijklmn");
  EXPECT_EQ(displayText(QStringLiteral("tag\U000E0041\uFFF9end").toStdString()), "tagend");
}

TEST(DisplayTextTest, IsNeverEmpty) {
  EXPECT_EQ(displayText(""), "(unnamed)");
  EXPECT_EQ(displayText(" \n\t "), "(unnamed)");
  EXPECT_EQ(displayText("\xE2\x80\xAE"), "(unnamed)");
}

TEST(DisplayTextTest, IsNeverBlank) {
  for (const char* blank :
       {"\u200b", "\u2060", "\u2061", "\u2064", "\u00ad", "\u3164", "\uffa0", "\u200d", "\u034f", "\ufe0f",
        "\u2800", "\u115f\u1160", "\u180e", "\U000E0101", "\u00a0\u200b\u3000", " \u200c \u200d "}) {
    EXPECT_EQ(displayText(blank), "(unnamed)") << blank;
  }
}

TEST(DisplayTextTest, DropsWhatNobodySeesAndKeepsWhatShapesItsNeighbours) {
  EXPECT_EQ(displayText("A\u200bB\u2060C\u00adD\u3164E\u2064F"), "ABCDEF");
  for (const char* shaped : {"\u0645\u06cc\u200c\u062e\u0648\u0627\u0647\u0645", "\u2764\ufe0f",
                             "\U0001F469\u200d\U0001F3A4", "\u845b\U000E0100"}) {
    EXPECT_EQ(displayText(shaped), QString::fromUtf8(shaped));
  }
}

TEST(DisplayTextTest, CutsVeryLongTextWithoutBreakingACharacter) {
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

TEST(DisplayTextTest, SetsApartOnlyWhatRunsFromRightToLeft) {
  EXPECT_EQ(isolatedText("Studio A"), "Studio A");
  EXPECT_EQ(isolatedText(QStringLiteral("\u05D0\u05D5")), QStringLiteral("\u2068\u05D0\u05D5\u2069"));
}

TEST(DisplayTextTest, ToolTipShowsMarkupLiterally) {
  QTextDocument shown;
  shown.setHtml(toolTipText("<img src=x> & <b>bold</b>\nsecond"));
  EXPECT_EQ(shown.toPlainText(), "<img src=x> & <b>bold</b>\nsecond");
}

TEST(DisplayTextTest, MenuTitleStaysNarrow) {
  EXPECT_EQ(shortText("Drums & Bass"), "Drums & Bass");
  EXPECT_EQ(shortText(QString(100, u'x')).size(), 60);
}

/// Every text of up to six characters that holds nothing but a letter and the two marks.
void ForEachText(const std::function<void(const QString&)>& call) {
  QStringList texts{QString()};
  for (int length = 0; length < 6; ++length) {
    QStringList longer;
    for (const QString& text : texts) {
      for (const char16_t c : {u'a', u'&', u'_'}) longer += text + QChar(c);
    }
    texts = longer;
    for (const QString& text : texts) call(text);
  }
}

/// What the toolkit shows: "&&" is one, any other is its mark.
QString ShownByToolkit(const QString& text) {
  QString shown;
  for (qsizetype i = 0; i < text.size(); ++i) {
    if (text[i] == u'&' && ++i == text.size()) break;
    shown += text[i];
  }
  return shown;
}

/// What the toolkit makes of a text on its way to the bus.
QString OnTheBus(QString text) {
  const qsizetype first = text.indexOf(u'&');
  if (first >= 0 && first < text.size() - 1) text[first] = u'_';
  return text;
}

/// What a host shows of that: "__" is an underscore, any other "_" is not seen.
QString ShownByHost(const QString& label, bool& hasMark) {
  QString shown;
  for (qsizetype i = 0; i < label.size(); ++i) {
    if (label[i] != u'_') {
      shown += label[i];
    } else if (i + 1 < label.size() && label[i + 1] == u'_') {
      shown += label[i++];
    } else {
      hasMark = true;
    }
  }
  return shown;
}

TEST(MenuTextTest, ReadsLiterallyWhereTheToolkitDrawsIt) {
  ForEachText([](const QString& text) { EXPECT_EQ(ShownByToolkit(menuText(text, MenuForm::Drawn)), text); });
}

TEST(MenuTextTest, ReadsLiterallyWhereAHostDrawsIt) {
  ForEachText([](const QString& text) {
    bool hasMark = false;
    const QString label = OnTheBus(menuText(text, MenuForm::Exported));
    EXPECT_EQ(ShownByHost(label, hasMark).replace(QChar(0x02CD), u'_'), text) << label.toStdString();
    // A library that many hosts use loses the one beside the other.
    EXPECT_FALSE(hasMark && label.contains(QStringLiteral("__"))) << label.toStdString();
  });
}

TEST(MenuTextTest, KeepsUnderscoresWhereItCan) {
  EXPECT_EQ(menuText("Live_Room_2", MenuForm::Exported), "Live__Room__2");
  EXPECT_EQ(menuText("x_y & z_", MenuForm::Exported), "x&_y & z__");
  EXPECT_EQ(menuText("R&D_2", MenuForm::Exported), QStringLiteral("&R&D\u02CD2"));
}

TEST(MenuTextTest, FollowsTheFormOfItsMenu) {
  QMenu menu;
  QMenu submenu;
  QAction* const own = menu.addAction("Settings & more");
  own->setMenu(&submenu);
  QAction* const entry = menu.addAction(QString());
  QAction* const inner = submenu.addAction(QString());
  setLiteralText(*entry, "R&D", MenuForm::Drawn);
  setLiteralText(*inner, "a_b", MenuForm::Drawn);
  EXPECT_EQ(entry->text(), "R&&D");
  for (int round = 0; round < 2; ++round) {
    showIn(MenuForm::Exported, menu);
    EXPECT_EQ(entry->text(), "&R&D");
    EXPECT_EQ(inner->text(), "a__b");
  }
  showIn(MenuForm::Drawn, menu);
  EXPECT_EQ(entry->text(), "R&&D");
  EXPECT_EQ(inner->text(), "a_b");
  EXPECT_EQ(own->text(), "Settings & more") << "it has no literal text";
}

TEST(MenuTextTest, AnUnchangedTextIsNotSetAgain) {
  QAction entry;
  setLiteralText(entry, "R&D", MenuForm::Exported);
  int changes = 0;
  QObject::connect(&entry, &QAction::changed, &entry, [&] { ++changes; });
  setLiteralText(entry, "R&D", MenuForm::Exported);
  EXPECT_EQ(changes, 0);
}

}  // namespace
}  // namespace vorn::ui
