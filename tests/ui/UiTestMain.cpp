#include <gtest/gtest.h>

#include <QApplication>
#include <QPixmapCache>

#include "ui/AccessibleApplication.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setApplicationDisplayName(QStringLiteral("Vorn Device Finder"));
  QApplication::setQuitOnLastWindowClosed(false);
  vorn::ui::AccessibleApplication::install();
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  QPixmapCache::clear();
  return result;
}
