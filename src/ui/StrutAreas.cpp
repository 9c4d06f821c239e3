#include "ui/StrutAreas.h"

#include <algorithm>
#include <array>

namespace vorn::ui {
namespace {

constexpr std::size_t kWords = 12;
constexpr std::uint32_t kFarthest = 65535;  // coordinates of an X11 desktop have 16 bits

}  // namespace

// Widths at the left, right, top and bottom edge, then the first and the last
// pixel of each along its edge, in the same order.
std::vector<ReservedArea> strutAreas(const std::vector<std::uint32_t>& words, const QSize& desktop) {
  if (words.size() < kWords || desktop.isEmpty()) return {};
  std::array<int, kWords> v{};
  for (std::size_t i = 0; i < kWords; ++i) v[i] = static_cast<int>(std::min(words[i], kFarthest));
  const int right = desktop.width() - 1;
  const int bottom = desktop.height() - 1;
  const std::array<ReservedArea, 4> edges{
      ReservedArea{Qt::LeftEdge, QRect(QPoint(0, v[4]), QPoint(v[0] - 1, v[5]))},
      ReservedArea{Qt::RightEdge, QRect(QPoint(right - v[1] + 1, v[6]), QPoint(right, v[7]))},
      ReservedArea{Qt::TopEdge, QRect(QPoint(v[8], 0), QPoint(v[9], v[2] - 1))},
      ReservedArea{Qt::BottomEdge, QRect(QPoint(v[10], bottom - v[3] + 1), QPoint(v[11], bottom))},
  };
  std::vector<ReservedArea> areas;
  for (const auto& [edge, rectangle] : edges) {
    // Only what is valid may be intersected: the toolkit turns the other ones round.
    const QRect area = rectangle.isValid() ? rectangle.intersected(QRect(QPoint(0, 0), desktop)) : QRect();
    if (!area.isEmpty()) areas.push_back({edge, area});
  }
  return areas;
}

}  // namespace vorn::ui
