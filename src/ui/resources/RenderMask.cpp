// Run by the build: draws the shape of an SVG as a grey picture, white where it is opaque. So the program
// itself needs no SVG library, which would be about 3 % of its memory.

#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int kPixelsPerUnit = 8;  // larger than every drawn size, so that pictures are only ever reduced

bool render(const QString& drawing, const QString& mask) {
  QSvgRenderer renderer(drawing);
  if (!renderer.isValid()) return false;
  QImage image(renderer.defaultSize() * kPixelsPerUnit, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  renderer.render(&painter);
  painter.end();
  const QImage alpha = image.convertToFormat(QImage::Format_Alpha8);
  const QImage grey(alpha.constBits(), alpha.width(), alpha.height(), alpha.bytesPerLine(),
                    QImage::Format_Grayscale8);
  return grey.save(mask, "PGM");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && render(QString::fromLocal8Bit(argv[1]), QString::fromLocal8Bit(argv[2])))
    return EXIT_SUCCESS;
  std::fprintf(stderr, "Usage: render-mask DRAWING.svg MASK.pgm\n");
  return EXIT_FAILURE;
}
