#include "ui/TrayIconEngine.h"

#include <QPainter>
#include <utility>

namespace vorn::ui {

TrayIconEngine::TrayIconEngine(QString themeName, Draw draw)
    : fThemeName(std::move(themeName)), fDraw(std::move(draw)) {}

void TrayIconEngine::paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) {
  painter->drawPixmap(rect, pixmap(rect.size() * painter->device()->devicePixelRatioF(), mode, state));
}

QPixmap TrayIconEngine::pixmap(const QSize& size, QIcon::Mode, QIcon::State) {
  if (size.isEmpty()) return {};
  QPixmap pixmap(size);
  pixmap.fill(Qt::transparent);
  QPainter painter(&pixmap);
  fDraw(painter, size);
  return pixmap;
}

QIconEngine* TrayIconEngine::clone() const {
  return new TrayIconEngine(*this);
}

QList<QSize> TrayIconEngine::availableSizes(QIcon::Mode, QIcon::State) {
  return {{16, 16}, {22, 22}, {24, 24}, {32, 32}};
}

QString TrayIconEngine::iconName() {
  return fThemeName;
}

bool TrayIconEngine::isNull() {
  return false;
}

}  // namespace vorn::ui
