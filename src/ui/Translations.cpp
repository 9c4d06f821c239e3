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
  if (catalogue->load(user, QStringLiteral("vorn-device-finder"), QStringLiteral("_"),
                      QStringLiteral(":/vorn/translations"))) {
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
