#pragma once

#include <QColor>
#include <QIconEngine>
#include <QPixmap>
#include <QSize>
#include <QString>
#include <functional>

class QPainter;

namespace vorn::ui {

/// The colours of a template image.
struct Tint {
  QColor fill;
  QColor back;  ///< of the drawing that stands behind the shape ("MenuIconBack"); invalid: none

  /// Readable on a bar of unknown colour: light on dark, as in packaging/icons/status-item.svg.in.
  [[nodiscard]] static Tint forUnknownBar();
};

/// A drawing of ours by its resource name ("MenuIcon", "plexadevice", ...). Only its shape counts, and it is
/// drawn in the tint that fits the place. A plain value; an unknown name draws nothing. Main thread only,
/// because the toolkit's pixmap cache keeps the rendered pixels.
class TemplateImage {
 public:
  TemplateImage() = default;
  /// `size` in points.
  TemplateImage(QString name, QSize size);

  [[nodiscard]] const QString& name() const { return fName; }
  [[nodiscard]] QSize size() const { return fSize; }
  /// True if the resources contain an image of this name.
  [[nodiscard]] bool exists() const;

  /// Draws the whole image into `target` over the existing pixels, sharp on any device pixel ratio.
  void draw(QPainter& painter, const QRectF& target, qreal opacity, const Tint& tint) const;

  /// The image in device pixels.
  [[nodiscard]] QPixmap rendered(QSize pixels, const Tint& tint) const;

 private:
  [[nodiscard]] QString path() const;

  QString fName;
  QSize fSize;
};

/// An icon that travels to the host by theme name, together with our own drawing. The toolkit's own themed
/// icon would send the theme's drawing as pixels, which is dark and nearly invisible on a dark bar.
class TrayIconEngine : public QIconEngine {
 public:
  /// Draws the icon into a square of this size, in device pixels.
  using Draw = std::function<void(QPainter&, QSize)>;

  /// `themeName` empty: no name travels.
  TrayIconEngine(QString themeName, Draw draw);

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State state) override;
  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override;
  [[nodiscard]] QIconEngine* clone() const override;
  QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override;
  QString iconName() override;
  bool isNull() override;

 private:
  QString fThemeName;
  Draw fDraw;
};

}  // namespace vorn::ui
