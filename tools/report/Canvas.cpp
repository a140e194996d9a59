#include "tools/report/Canvas.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "tools/report/Font.h"

namespace geoloom::tools {

Canvas::Canvas(std::size_t width, std::size_t height, Ink paper)
    : picture_{width, height, 3, std::vector<std::uint8_t>(width * height * 3)} {
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) blend(static_cast<long>(x), static_cast<long>(y), paper, 1);
  }
}

Canvas::Canvas(platform::PNGImage picture) : picture_(std::move(picture)) {}

void Canvas::blend(long x, long y, Ink ink, double share) {
  if (x < 0 || y < 0 || x >= static_cast<long>(picture_.width) || y >= static_cast<long>(picture_.height))
    return;
  const std::size_t at = (static_cast<std::size_t>(y) * picture_.width + static_cast<std::size_t>(x)) * 3;
  const std::array<std::uint8_t, 3> colours{ink.red, ink.green, ink.blue};
  for (std::size_t c = 0; c < 3; ++c) {
    std::uint8_t& sample = std::get<0>(picture_.samples)[at + c];
    sample = static_cast<std::uint8_t>(std::lround(sample + share * (colours[c] - sample)));
  }
}

/// Puts ink on every pixel of a square as far as `distance` says that the drawing covers it: wholly half a
/// pixel inside its edge, not at all half a pixel outside.
template <class Distance>
void Canvas::cover(double left, double top, double right, double bottom, Ink ink, Distance&& distance) {
  const auto inside = [](double at, std::size_t count) {
    return at > 0 ? static_cast<long>(std::min(at, static_cast<double>(count))) : 0;  // also for no number
  };
  const long endX = inside(std::ceil(right) + 2, picture_.width);
  const long endY = inside(std::ceil(bottom) + 2, picture_.height);
  for (long y = inside(std::floor(top) - 1, picture_.height); y < endY; ++y) {
    for (long x = inside(std::floor(left) - 1, picture_.width); x < endX; ++x) {
      const double outside = distance(static_cast<double>(x), static_cast<double>(y));
      if (outside < 0.5) blend(x, y, ink, std::min(0.5 - outside, 1.0));
    }
  }
}

void Canvas::dot(double x, double y, double radius, Ink ink) {
  line(x, y, x, y, ink, 2 * radius);
}

void Canvas::ring(double x, double y, double radius, Ink ink) {
  constexpr double halfWidth = 1;
  const double reach = radius + halfWidth;
  cover(x - reach, y - reach, x + reach, y + reach, ink,
        [&](double px, double py) { return std::abs(std::hypot(px - x, py - y) - radius) - halfWidth; });
}

void Canvas::cross(double x, double y, double radius, Ink ink) {
  line(x - radius, y - radius, x + radius, y + radius, ink, 2);
  line(x - radius, y + radius, x + radius, y - radius, ink, 2);
}

void Canvas::line(double x0, double y0, double x1, double y1, Ink ink, double thickness) {
  const double dx = x1 - x0;
  const double dy = y1 - y0;
  const double squaredLength = dx * dx + dy * dy;
  if (!std::isfinite(squaredLength)) return;
  const double reach = thickness / 2;
  cover(std::min(x0, x1) - reach, std::min(y0, y1) - reach, std::max(x0, x1) + reach,
        std::max(y0, y1) + reach, ink, [&](double px, double py) {
          const double along = squaredLength > 0 ? ((px - x0) * dx + (py - y0) * dy) / squaredLength : 0;
          const double f = std::clamp(along, 0.0, 1.0);
          return std::hypot(px - (x0 + f * dx), py - (y0 + f * dy)) - reach;
        });
}

double Canvas::textWidth(std::string_view line, int scale) {
  constexpr int advance = 6;
  return static_cast<double>(line.size()) * advance * scale;
}

void Canvas::text(double x, double y, std::string_view line, Ink ink, int scale) {
  const bool isLight = ink.red + ink.green + ink.blue > 3 * 128;
  const Ink plate = isLight ? Ink{20, 24, 28} : Ink{250, 250, 247};
  const auto margin = 2L * scale;
  const long left = std::lround(x);
  const long top = std::lround(y);
  for (long v = top - margin; v < top + 7L * scale + margin; ++v) {
    for (long u = left - margin; u < left + std::lround(textWidth(line, scale)) - scale + margin; ++u)
      blend(u, v, plate, 0.75);
  }
  glyphs(left, top, line, ink, scale);
}

void Canvas::glyphs(long left, long top, std::string_view line, Ink ink, int scale) {
  for (const char character : line) {
    const auto& rows = glyphOf(character);
    for (int row = 0; row < 7 * scale; ++row) {
      for (int column = 0; column < 5 * scale; ++column) {
        const unsigned bits = rows[static_cast<std::size_t>(row / scale)];
        if ((bits >> (4U - static_cast<unsigned>(column / scale)) & 1U) != 0)
          blend(left + column, top + row, ink, 1);
      }
    }
    left += 6L * scale;
  }
}

}  // namespace geoloom::tools
