#pragma once

#include <QRect>
#include <QSize>
#include <cstdint>
#include <vector>

namespace vorn::ui {

/// The areas that a window reserves at the edges of a desktop, by the words of
/// its property _NET_WM_STRUT_PARTIAL, in the desktop's own pixels. Any program
/// can write that property: too few words reserve nothing, words beyond the
/// twelfth are ignored, and every area lies inside the desktop and is not
/// empty. Pure.
[[nodiscard]] std::vector<QRect> strutAreas(const std::vector<std::uint32_t>& words, const QSize& desktop);

}  // namespace vorn::ui
