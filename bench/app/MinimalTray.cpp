// The smallest program with a status item: the toolkit's own costs.

#include <QApplication>
#include <QIcon>
#include <QMenu>
#include <QPixmap>
#include <QSystemTrayIcon>

int main(int argc, char** argv) {
  const QApplication application(argc, argv);
  QApplication::setQuitOnLastWindowClosed(false);
  QPixmap picture(22, 22);
  picture.fill(Qt::darkGray);
  QMenu menu;
  QSystemTrayIcon item{QIcon(picture)};
  item.setToolTip(QStringLiteral("Minimal"));
  item.setContextMenu(&menu);
  item.show();
  return QApplication::exec();
}
