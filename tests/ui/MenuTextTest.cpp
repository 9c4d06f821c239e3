#include <gtest/gtest.h>

#include <QAction>
#include <QMenu>
#include <functional>

#include "ui/MenuText.h"

namespace vorn::ui {
namespace {

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

TEST(MenuText, ReadsLiterallyWhereTheToolkitDrawsIt) {
  ForEachText([](const QString& text) { EXPECT_EQ(ShownByToolkit(menuText(text, MenuForm::Drawn)), text); });
}

TEST(MenuText, ReadsLiterallyWhereAHostDrawsIt) {
  ForEachText([](const QString& text) {
    bool hasMark = false;
    const QString label = OnTheBus(menuText(text, MenuForm::Exported));
    EXPECT_EQ(ShownByHost(label, hasMark).replace(QChar(0x02CD), u'_'), text) << label.toStdString();
    // A library that many hosts use loses the one beside the other.
    EXPECT_FALSE(hasMark && label.contains(QStringLiteral("__"))) << label.toStdString();
  });
}

TEST(MenuText, KeepsUnderscoresWhereItCan) {
  EXPECT_EQ(menuText("Live_Room_2", MenuForm::Exported), "Live__Room__2");
  EXPECT_EQ(menuText("x_y & z_", MenuForm::Exported), "x&_y & z__");
  EXPECT_EQ(menuText("R&D_2", MenuForm::Exported), QStringLiteral("&R&D\u02CD2"));
}

TEST(MenuText, FollowsTheFormOfItsMenu) {
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

TEST(MenuText, AnUnchangedTextIsNotSetAgain) {
  QAction entry;
  setLiteralText(entry, "R&D", MenuForm::Exported);
  int changes = 0;
  QObject::connect(&entry, &QAction::changed, &entry, [&] { ++changes; });
  setLiteralText(entry, "R&D", MenuForm::Exported);
  EXPECT_EQ(changes, 0);
}

}  // namespace
}  // namespace vorn::ui
