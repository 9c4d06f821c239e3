#include "ui/InformationWindow.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QVBoxLayout>
#include <utility>
#include <vector>

namespace vorn::ui {
namespace {

using Rows = std::vector<std::pair<QString, QString>>;

QString table(const Rows& rows) {
  QString text = QStringLiteral("<table cellspacing=\"4\">");
  for (const auto& [first, second] : rows) {
    text += QStringLiteral("<tr><td><b>%1</b>&nbsp;&nbsp;</td><td>%2</td></tr>")
                .arg(first.toHtmlEscaped(), second.toHtmlEscaped());
  }
  return text + QStringLiteral("</table>");
}

QString paragraph(const QString& words) {
  return QStringLiteral("<p>%1</p>").arg(words.toHtmlEscaped());
}

// What Debian's packages say of each.
Rows licences() {
  return {{QStringLiteral("Qt %1").arg(QString::fromLatin1(qVersion())), QStringLiteral("LGPL 3")},
          {QStringLiteral("Avahi"), QStringLiteral("LGPL 2.1")},
          {QStringLiteral("curl"), QStringLiteral("curl")},
          {QStringLiteral("D-Bus"), QStringLiteral("AFL 2.1, GPL 2")},
          {QStringLiteral("JSON for Modern C++"), QStringLiteral("MIT")},
          {QStringLiteral("XCB"), QStringLiteral("MIT")},
          {QStringLiteral("zlib"), QStringLiteral("zlib")}};
}

}  // namespace

InformationWindow::InformationWindow(const QString& title) : fWords(new QLabel) {
  setWindowTitle(title);
  setAttribute(Qt::WA_DeleteOnClose);
  connect(qApp, &QCoreApplication::aboutToQuit, this, &QObject::deleteLater);
  fWords->setTextFormat(Qt::RichText);
  fWords->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  auto* area = new QScrollArea(this);  // the text may be larger than a small screen
  area->setFrameShape(QFrame::NoFrame);
  area->setWidgetResizable(true);
  area->setWidget(fWords);
  auto* buttons = new QDialogButtonBox(this);
  QPushButton* button = buttons->addButton(tr("Close"), QDialogButtonBox::RejectRole);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  auto* content = new QVBoxLayout(this);
  content->addWidget(area);
  content->addWidget(buttons);
  button->setFocus();
}

void InformationWindow::setText(const QString& text) {
  fWords->setText(text);
  resize(sizeHint().boundedTo(screen()->availableSize()));
}

void InformationWindow::present(const QString& title, const QString& text) {
  InformationWindow* window = nullptr;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    auto* open = qobject_cast<InformationWindow*>(widget);
    if (open && open->isVisible() && open->windowTitle() == title) window = open;
  }
  if (!window) window = new InformationWindow(title);
  window->setText(text);
  window->show();
  window->raise();
  window->activateWindow();
}

QString InformationWindow::aboutTitle() {
  return tr("About %1").arg(QGuiApplication::applicationDisplayName());
}

QString InformationWindow::keyboardShortcutsTitle() {
  return tr("Keyboard Shortcuts");
}

void InformationWindow::showAbout(const QString& updateServer) {
  const QString version = QCoreApplication::applicationVersion();
  const QString server = updateServer.isEmpty() ? tr("It does not ask for new firmware.")
                                                : tr("It asks for new firmware at %1").arg(updateServer);
  present(
      aboutTitle(),
      QStringLiteral("<h3>%1</h3>").arg(QGuiApplication::applicationDisplayName().toHtmlEscaped()) +
          paragraph(tr("Version %1, build %2").arg(version.section(u'+', 0, 0), version.section(u'+', 1))) +
          paragraph(server) + paragraph(tr("It uses these libraries, under these licences:")) +
          table(licences()));
}

void InformationWindow::showKeyboardShortcuts() {
  present(keyboardShortcutsTitle(),
          table({{tr("Up, Down, Home, End"), tr("Move through the list")},
                 {tr("Letters"), tr("Go to the device whose name begins so")},
                 {tr("Return, Enter"), tr("Open the page of the selected device")},
                 {tr("Menu, Shift+F10"), tr("Open the menu of the selected device")},
                 {tr("Tab"), tr("Go to the settings button")},
                 {tr("Escape"), tr("Close the panel")}}));
}

}  // namespace vorn::ui
