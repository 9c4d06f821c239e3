#include "ui/Translations.h"

#include <QGuiApplication>
#include <QLocale>
#include <QTranslator>
#include <string>

namespace vorn::ui {

void useLanguageOfUser() {
  QCoreApplication* const application = QCoreApplication::instance();
  const QLocale user = QLocale::system();
  auto* const catalogue = new QTranslator(application);
  const auto folder = QStringLiteral(":/vorn/translations");
  // Without a catalogue for the user, English still needs its plural forms.
  if (catalogue->load(user, QStringLiteral("vorn-device-finder"), QStringLiteral("_"), folder) ||
      catalogue->load(QStringLiteral("vorn-device-finder_en"), folder)) {
    QCoreApplication::installTranslator(catalogue);
  }
  // By default the toolkit takes the direction from its own catalogues, which may not be installed.
  if (qobject_cast<QGuiApplication*>(application)) {
    QGuiApplication::setLayoutDirection(QLocale(user.uiLanguages().value(0)).textDirection());
  }
}

QString coreText(std::string_view text) {
  return QCoreApplication::translate("Core", std::string(text).c_str());
}

}  // namespace vorn::ui
