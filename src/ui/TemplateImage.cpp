#include "ui/TemplateImage.h"

#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QPainter>
#include <QPixmapCache>
#include <utility>

namespace vorn::ui {
namespace {

/// Names the format, because otherwise every picture plugin of the toolkit would be loaded and asked for it.
QImage mask(const QString& path) {
  QImageReader reader(path, "pgm");
  reader.setAutoDetectImageFormat(false);
  return reader.read();
}

/// The mask's opacity at the size, centred if the sides differ.
QImage fitted(const QImage& mask, QSize pixels) {
  const QImage grey = mask.scaled(pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation)
                          .convertToFormat(QImage::Format_Grayscale8);
  const QImage opacity(grey.constBits(), grey.width(), grey.height(), grey.bytesPerLine(),
                       QImage::Format_Alpha8);
  QImage result(pixels, QImage::Format_ARGB32_Premultiplied);
  result.fill(Qt::transparent);
  QPainter painter(&result);
  painter.drawImage(QPointF(pixels.width() - grey.width(), pixels.height() - grey.height()) / 2, opacity);
  return result;
}

QImage coloured(QImage shape, const QColor& color) {
  QPainter painter(&shape);
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(shape.rect(), color);
  return shape;
}

}  // namespace

Tint Tint::forUnknownBar() {
  return {QColor(0xf4, 0xf4, 0xf4), QColor(0x20, 0x20, 0x20)};
}

TemplateImage::TemplateImage(QString name, QSize size) : fName(std::move(name)), fSize(size) {}

QString TemplateImage::path() const {
  return QStringLiteral(":/vorn/images/%1.pgm").arg(fName);
}

bool TemplateImage::exists() const {
  return !fName.isEmpty() && QFile::exists(path());
}

QPixmap TemplateImage::rendered(QSize pixels, const Tint& tint) const {
  if (pixels.isEmpty() || fName.isEmpty()) return {};
  const QString key = QStringLiteral("vorn/%1/%2x%3/%4/%5")
                          .arg(fName)
                          .arg(pixels.width())
                          .arg(pixels.height())
                          .arg(tint.fill.rgba())
                          .arg(tint.back.isValid() ? tint.back.rgba() : 0U);
  QPixmap result;
  if (QPixmapCache::find(key, &result)) return result;
  if (!exists()) return {};

  result = QPixmap(pixels);
  result.fill(Qt::transparent);
  QPainter painter(&result);
  if (tint.back.isValid()) {
    const TemplateImage back(fName + QStringLiteral("Back"), fSize);
    painter.drawImage(0, 0, coloured(fitted(mask(back.path()), pixels), tint.back));
  }
  painter.drawImage(0, 0, coloured(fitted(mask(path()), pixels), tint.fill));
  painter.end();
  QPixmapCache::insert(key, result);
  return result;
}

void TemplateImage::draw(QPainter& painter, const QRectF& target, qreal opacity, const Tint& tint) const {
  const qreal ratio = painter.device()->devicePixelRatioF();
  const QSizeF scale(painter.worldTransform().m11(), painter.worldTransform().m22());
  const QSize pixels(qRound(target.width() * ratio * scale.width()),
                     qRound(target.height() * ratio * scale.height()));
  const QPixmap pixmap = rendered(pixels, tint);
  if (pixmap.isNull()) return;
  painter.save();
  painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
  painter.setRenderHint(QPainter::SmoothPixmapTransform);
  painter.setOpacity(painter.opacity() * opacity);
  painter.drawPixmap(target, pixmap, QRectF(pixmap.rect()));
  painter.restore();
}

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
