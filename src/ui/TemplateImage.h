#pragma once

#include <QColor>
#include <QPixmap>
#include <QSize>
#include <QString>

class QPainter;

namespace vorn::ui {

/// The colours that a template image is drawn in.
struct Tint {
  QColor fill;
  QColor outline;  ///< a thin line around the shape; invalid: none

  /// Readable on a bar whose colour nobody tells us: light with a dark outline.
  [[nodiscard]] static Tint forUnknownBar();
};

/// A drawing of ours by its resource name ("MenuIcon", "plexadevice", ...) of
/// which only the shape counts; it is drawn in the tint that fits the place.
/// A plain value; an unknown name draws nothing. Main thread only: the rendered
/// pixels are kept in the toolkit's pixmap cache.
class TemplateImage {
 public:
  TemplateImage() = default;
  /// `size` in points.
  TemplateImage(QString name, QSize size);

  [[nodiscard]] const QString& name() const { return fName; }
  [[nodiscard]] QSize size() const { return fSize; }
  /// True when the resources hold an image of this name.
  [[nodiscard]] bool exists() const;

  /// Draws the whole image into `target` over what is there, sharp on any
  /// device pixel ratio.
  void draw(QPainter& painter, const QRectF& target, qreal opacity, const Tint& tint) const;

  /// The image in device pixels.
  [[nodiscard]] QPixmap rendered(QSize pixels, const Tint& tint) const;

 private:
  [[nodiscard]] QString path() const;

  QString fName;
  QSize fSize;
};

}  // namespace vorn::ui
