#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "geoloom/platform/imaging/PNG.h"

struct _cairo;          // cairo_t  NOLINT(bugprone-reserved-identifier)
struct _cairo_surface;  // cairo_surface_t  NOLINT(bugprone-reserved-identifier)

namespace geoloom::tools {

/// A colour, 0 to 1 each.
struct Ink {
  double red = 0;
  double green = 0;
  double blue = 0;
  double alpha = 1;
};

// Of all plans and plots.
inline constexpr Ink PAPER{0.985, 0.98, 0.965};
inline constexpr Ink TEXT{0.3, 0.28, 0.25};

/// Pixels from the upper left corner, x to the right, y down.
struct Point {
  double x = 0;
  double y = 0;
};

/// A picture being drawn. What lies outside is cut off; points that are not finite draw nothing.
class Drawing {
 public:
  Drawing(std::size_t width, std::size_t height, Ink paper);
  /// Draws on an RGB picture of 8 bits, `enlargement` times as large.
  Drawing(const platform::PNGImage& picture, double enlargement);

  [[nodiscard]] double width() const { return width_; }
  [[nodiscard]] double height() const { return height_; }

  void line(const std::vector<Point>& points, Ink ink, double thickness);
  void area(const std::vector<Point>& corners, Ink fill, Ink edge, double thickness = 1.5);
  void dot(Point centre, double radius, Ink ink);
  void ring(Point centre, double radius, Ink ink, double thickness = 2);
  void cross(Point centre, double radius, Ink ink, double thickness = 2.5);
  /// A line of text that starts at `left`, on a plate that keeps it readable.
  void text(Point left, const std::string& line, Ink ink, double size = 15);

  /// Names a point. Labels are placed when the picture is finished, where they cover neither each other nor
  /// the points they name, those added first nearest to their points.
  void label(Point point, const std::string& line, Ink ink) { add({point, line, ink, false}); }
  /// Names an area by its middle, which the label may cover.
  void labelArea(Point middle, const std::string& line, Ink ink) { add({middle, line, ink, true}); }
  /// The sentence under the picture, on a strip of its own.
  void caption(std::string line) { caption_ = std::move(line); }

  [[nodiscard]] platform::PNGImage finish();

 private:
  struct Label {
    Point point;
    std::string line;
    Ink ink;
    bool mayCover;
  };
  struct Box {
    double x0, y0, x1, y1;
  };
  using Surface = std::unique_ptr<_cairo_surface, void (*)(_cairo_surface*)>;
  using Context = std::unique_ptr<_cairo, void (*)(_cairo*)>;

  void add(Label label);
  void use(Ink ink);
  bool trace(const std::vector<Point>& points);
  [[nodiscard]] double textWidth(const std::string& line, double size);
  [[nodiscard]] Box placeFor(const Label& label, const std::vector<Box>& taken);
  void placeLabels();

  double width_;
  double height_;
  double labelSize_ = 14;
  Surface surface_;
  Context context_;
  std::vector<Label> labels_;
  std::string caption_;
};

}  // namespace geoloom::tools
