#include "ui/TemplateImage.h"

#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QPainter>
#include <QPixmapCache>
#include <array>
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
                          .arg(tint.outline.isValid() ? tint.outline.rgba() : 0U);
  QPixmap result;
  if (QPixmapCache::find(key, &result)) return result;
  if (!exists()) return {};

  const QImage shape = fitted(mask(path()), pixels);
  result = QPixmap(pixels);
  result.fill(Qt::transparent);
  QPainter painter(&result);
  if (tint.outline.isValid()) {
    const QImage outline = coloured(shape, tint.outline);
    const qreal width = pixels.width() / 24.0;
    const std::array<QPointF, 4> offsets{QPointF(width, 0), QPointF(-width, 0), QPointF(0, width),
                                         QPointF(0, -width)};
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (const QPointF& offset : offsets) painter.drawImage(offset, outline);
  }
  painter.drawImage(0, 0, coloured(shape, tint.fill));
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
