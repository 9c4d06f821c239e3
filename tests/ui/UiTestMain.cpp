#include <gtest/gtest.h>

#include <QApplication>
#include <QPixmapCache>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setQuitOnLastWindowClosed(false);
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  QPixmapCache::clear();
  return result;
}
