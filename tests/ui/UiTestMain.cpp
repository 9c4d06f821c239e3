#include <gtest/gtest.h>

#include <QApplication>
#include <QPixmapCache>

#include "ui/Translations.h"
#include "ui/TrayStatusBar.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setApplicationDisplayName(QStringLiteral("Vorn Device Finder"));
  QApplication::setApplicationVersion(QStringLiteral("1.2.3+4"));
  QApplication::setQuitOnLastWindowClosed(false);
  vorn::ui::useLanguageOfUser();
  // There must be one before the toolkit is asked how assistive tools see the program.
  vorn::ui::TrayStatusBar({}, 19, {});
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  QPixmapCache::clear();
  return result;
}
