#include <gmock/gmock.h>

#include <QApplication>
#include <QPixmapCache>

// For tests of what needs the toolkit, without a display and a session bus.
int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
  ::testing::InitGoogleMock(&argc, argv);
  const QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  const int result = RUN_ALL_TESTS();
  QPixmapCache::clear();
  return result;
}
