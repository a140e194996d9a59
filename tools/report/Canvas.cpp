#include "tools/report/Canvas.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "tools/report/Font.h"

namespace geoloom::tools {

Canvas::Canvas(std::size_t width, std::size_t height, Ink paper)
    : picture_{width, height, 3, std::vector<std::uint8_t>(width * height * 3)} {
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) set(static_cast<long>(x), static_cast<long>(y), paper);
  }
}

Canvas::Canvas(platform::PNGImage picture) : picture_(std::move(picture)) {}

void Canvas::set(long x, long y, Ink ink) {
  if (x < 0 || y < 0 || x >= static_cast<long>(picture_.width) || y >= static_cast<long>(picture_.height))
    return;
  const std::size_t at = (static_cast<std::size_t>(y) * picture_.width + static_cast<std::size_t>(x)) * 3;
  auto& samples = std::get<0>(picture_.samples);
  samples[at] = ink.red;
  samples[at + 1] = ink.green;
  samples[at + 2] = ink.blue;
}

void Canvas::dot(double x, double y, double radius, Ink ink) {
  const auto reach = static_cast<long>(std::ceil(radius));
  for (long dy = -reach; dy <= reach; ++dy) {
    for (long dx = -reach; dx <= reach; ++dx) {
      if (static_cast<double>(dx * dx + dy * dy) <= radius * radius)
        set(std::lround(x) + dx, std::lround(y) + dy, ink);
    }
  }
}

void Canvas::ring(double x, double y, double radius, Ink ink) {
  const int steps = std::max(16, static_cast<int>(8 * radius));
  for (int i = 0; i < steps; ++i) {
    const double angle = 2 * std::acos(-1.0) * i / steps;
    dot(x + radius * std::cos(angle), y + radius * std::sin(angle), 1, ink);
  }
}

void Canvas::cross(double x, double y, double radius, Ink ink) {
  line(x - radius, y - radius, x + radius, y + radius, ink, 2);
  line(x - radius, y + radius, x + radius, y - radius, ink, 2);
}

void Canvas::line(double x0, double y0, double x1, double y1, Ink ink, int thickness) {
  constexpr double longest = 20000;  // far outside any picture: not worth the walk
  const double length = std::max(std::abs(x1 - x0), std::abs(y1 - y0));
  if (!(length < longest)) return;
  const int steps = std::max(1, static_cast<int>(std::ceil(length)));
  for (int i = 0; i <= steps; ++i) {
    const double f = static_cast<double>(i) / steps;
    dot(x0 + (x1 - x0) * f, y0 + (y1 - y0) * f, 0.5 * thickness, ink);
  }
}

double Canvas::textWidth(std::string_view line, int scale) {
  constexpr int advance = 6;
  return static_cast<double>(line.size()) * advance * scale;
}

void Canvas::text(double x, double y, std::string_view line, Ink ink, int scale) {
  const bool light = ink.red + ink.green + ink.blue > 3 * 128;
  const Ink edge = light ? Ink{0, 0, 0} : Ink{255, 255, 255};
  for (const auto& [dx, dy] : {std::pair{-1, 0}, {1, 0}, {0, -1}, {0, 1}})
    glyphs(x + dx, y + dy, line, edge, scale);
  glyphs(x, y, line, ink, scale);
}

void Canvas::glyphs(double x, double y, std::string_view line, Ink ink, int scale) {
  long left = std::lround(x);
  const long top = std::lround(y);
  for (const char character : line) {
    const auto& rows = glyphOf(character);
    for (int row = 0; row < 7 * scale; ++row) {
      for (int column = 0; column < 5 * scale; ++column) {
        const unsigned bits = rows[static_cast<std::size_t>(row / scale)];
        if ((bits >> (4U - static_cast<unsigned>(column / scale)) & 1U) != 0)
          set(left + column, top + row, ink);
      }
    }
    left += 6L * scale;
  }
}

}  // namespace geoloom::tools
