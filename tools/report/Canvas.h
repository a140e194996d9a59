#pragma once

#include <cstdint>
#include <string_view>

#include "geoloom/platform/imaging/PNG.h"

namespace geoloom::tools {

struct Ink {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
};

/// A picture to draw on. Coordinates are pixels, (0, 0) the centre of the first one; what lies outside is cut
/// off.
class Canvas {
 public:
  Canvas(std::size_t width, std::size_t height, Ink paper);
  /// Draws on an RGB picture of 8 bits.
  explicit Canvas(platform::PNGImage picture);

  void dot(double x, double y, double radius, Ink ink);
  void ring(double x, double y, double radius, Ink ink);
  void cross(double x, double y, double radius, Ink ink);
  void line(double x0, double y0, double x1, double y1, Ink ink, double thickness = 1);

  /// Capital letters, digits and the common signs, each 6 x 8 pixels times `scale`, from the upper left
  /// corner on; a plate behind them, dark for light ink and light for dark, keeps them readable on any
  /// ground.
  void text(double x, double y, std::string_view line, Ink ink, int scale = 2);
  [[nodiscard]] static double textWidth(std::string_view line, int scale = 2);

  [[nodiscard]] const platform::PNGImage& picture() const { return picture_; }

 private:
  /// Mixes `share` of the ink into a pixel; nothing outside the picture.
  void blend(long x, long y, Ink ink, double share);
  template <class Distance>
  void cover(double left, double top, double right, double bottom, Ink ink, Distance&& distance);
  void glyphs(long left, long top, std::string_view line, Ink ink, int scale);

  platform::PNGImage picture_;
};

}  // namespace geoloom::tools
