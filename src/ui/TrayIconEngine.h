#pragma once

#include <QIconEngine>
#include <functional>

namespace vorn::ui {

/// An icon that travels to the host by theme name with a drawing of our own
/// beside it. The toolkit's own themed icon would send the theme's drawing as
/// pixels, which is dark and nearly invisible on a dark bar.
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
