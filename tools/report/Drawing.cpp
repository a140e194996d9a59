#include "tools/report/Drawing.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>

#include <cairo.h>

namespace geoloom::tools {
namespace {

constexpr double captionSize = 15;
constexpr double captionHeight = 34;
constexpr double plateMargin = 3;

std::uint32_t* rowOf(cairo_surface_t* surface, std::size_t y) {
  auto* const bytes = cairo_image_surface_get_data(surface);
  return reinterpret_cast<std::uint32_t*>(
      bytes + y * static_cast<std::size_t>(cairo_image_surface_get_stride(surface)));
}

bool isFinite(const Point& p) {
  return std::isfinite(p.x) && std::isfinite(p.y);
}

}  // namespace

Drawing::Drawing(std::size_t width, std::size_t height, Ink paper)
    : width_(static_cast<double>(width)),
      height_(static_cast<double>(height)),
      surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(width),
                                          static_cast<int>(height + static_cast<std::size_t>(captionHeight))),
               cairo_surface_destroy),
      context_(cairo_create(surface_.get()), cairo_destroy) {
  cairo_set_line_join(context_.get(), CAIRO_LINE_JOIN_ROUND);
  cairo_set_line_cap(context_.get(), CAIRO_LINE_CAP_ROUND);
  cairo_select_font_face(context_.get(), "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  use(paper);
  cairo_paint(context_.get());
}

Drawing::Drawing(const platform::PNGImage& picture, double enlargement)
    : Drawing(static_cast<std::size_t>(static_cast<double>(picture.width) * enlargement),
              static_cast<std::size_t>(static_cast<double>(picture.height) * enlargement), Ink{1, 1, 1}) {
  labelSize_ = 20;
  const Surface image(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(picture.width),
                                                 static_cast<int>(picture.height)),
                      cairo_surface_destroy);
  const std::uint8_t* sample = picture.samples8()->data();
  for (std::size_t y = 0; y < picture.height; ++y) {
    std::uint32_t* row = rowOf(image.get(), y);
    for (std::size_t x = 0; x < picture.width; ++x, sample += 3)
      row[x] = std::uint32_t{sample[0]} << 16U | std::uint32_t{sample[1]} << 8U | sample[2];
  }
  cairo_surface_mark_dirty(image.get());
  cairo_save(context_.get());
  cairo_rectangle(context_.get(), 0, 0, width_, height_);
  cairo_scale(context_.get(), enlargement, enlargement);
  cairo_set_source_surface(context_.get(), image.get(), 0, 0);
  cairo_pattern_set_extend(cairo_get_source(context_.get()), CAIRO_EXTEND_PAD);
  cairo_fill(context_.get());
  cairo_restore(context_.get());
}

void Drawing::use(Ink ink) {
  cairo_set_source_rgba(context_.get(), ink.red, ink.green, ink.blue, ink.alpha);
}

bool Drawing::trace(const std::vector<Point>& points) {
  if (!std::all_of(points.begin(), points.end(), isFinite)) return false;
  cairo_new_path(context_.get());
  for (const Point& p : points) cairo_line_to(context_.get(), p.x, p.y);
  return true;
}

void Drawing::line(const std::vector<Point>& points, Ink ink, double thickness) {
  if (!trace(points)) return;
  use(ink);
  cairo_set_line_width(context_.get(), thickness);
  cairo_stroke(context_.get());
}

void Drawing::area(const std::vector<Point>& corners, Ink fill, Ink edge, double thickness) {
  if (!trace(corners)) return;
  cairo_close_path(context_.get());
  use(fill);
  cairo_fill_preserve(context_.get());
  use(edge);
  cairo_set_line_width(context_.get(), thickness);
  cairo_stroke(context_.get());
}

void Drawing::dot(Point centre, double radius, Ink ink) {
  line({centre, centre}, ink, 2 * radius);
}

void Drawing::ring(Point centre, double radius, Ink ink, double thickness) {
  if (!isFinite(centre)) return;
  cairo_new_path(context_.get());
  cairo_arc(context_.get(), centre.x, centre.y, radius, 0, 2 * std::numbers::pi);
  use(ink);
  cairo_set_line_width(context_.get(), thickness);
  cairo_stroke(context_.get());
}

void Drawing::cross(Point c, double radius, Ink ink, double thickness) {
  line({{c.x - radius, c.y - radius}, {c.x + radius, c.y + radius}}, ink, thickness);
  line({{c.x - radius, c.y + radius}, {c.x + radius, c.y - radius}}, ink, thickness);
}

double Drawing::textWidth(const std::string& line, double size) {
  cairo_text_extents_t extents;
  cairo_set_font_size(context_.get(), size);
  cairo_text_extents(context_.get(), line.c_str(), &extents);
  return extents.x_advance;
}

void Drawing::text(Point left, const std::string& line, Ink ink, double size) {
  const bool isLight = ink.red + ink.green + ink.blue > 1.5;
  const double width = textWidth(line, size);
  use(isLight ? Ink{0.08, 0.09, 0.11, 0.75} : Ink{1, 1, 1, 0.8});
  cairo_rectangle(context_.get(), left.x - plateMargin, left.y - size - plateMargin / 2,
                  width + 2 * plateMargin, 1.3 * size + plateMargin);
  cairo_fill(context_.get());
  use(ink);
  cairo_move_to(context_.get(), left.x, left.y - 0.1 * size);
  cairo_show_text(context_.get(), line.c_str());
}

void Drawing::add(Label label) {
  if (isFinite(label.point)) labels_.push_back(std::move(label));
}

/// Of places ever farther around the point, the first that covers nothing.
Drawing::Box Drawing::placeFor(const Label& label, const std::vector<Box>& taken) {
  const double w = textWidth(label.line, labelSize_) + 2 * plateMargin;
  const double h = 1.3 * labelSize_ + plateMargin;
  constexpr int rings = 24;
  constexpr int directions = 16;
  const auto isFree = [&](const Box& box) {
    return box.x0 >= 0 && box.y0 >= 0 && box.x1 <= width_ && box.y1 <= height_ &&
           std::none_of(taken.begin(), taken.end(), [&](const Box& other) {
             return box.x0 < other.x1 && other.x0 < box.x1 && box.y0 < other.y1 && other.y0 < box.y1;
           });
  };
  const auto around = [&](double x, double y) { return Box{x - w / 2, y - h / 2, x + w / 2, y + h / 2}; };
  const Box on = around(label.point.x, label.point.y);
  if (label.mayCover && isFree(on)) return on;
  for (int ring = 0; ring < rings; ++ring) {
    for (int d = 0; d < directions; ++d) {
      const double angle = 2 * std::numbers::pi * d / directions;
      const double reach = 10.0 + 9.0 * ring;
      const double x = label.point.x + (reach + w / 2) * std::cos(angle);
      const double y = label.point.y + (reach + h / 2) * std::sin(angle);
      if (isFree(around(x, y))) return around(x, y);
    }
  }
  return on;
}

void Drawing::placeLabels() {
  constexpr double pointReach = 6;
  std::vector<Box> taken;
  for (const Label& l : labels_) {
    if (!l.mayCover)
      taken.push_back(
          {l.point.x - pointReach, l.point.y - pointReach, l.point.x + pointReach, l.point.y + pointReach});
  }
  for (const Label& l : labels_) {
    const Box box = placeFor(l, taken);
    taken.push_back(box);
    const Point end{std::clamp(l.point.x, box.x0, box.x1), std::clamp(l.point.y, box.y0, box.y1)};
    if (std::hypot(end.x - l.point.x, end.y - l.point.y) > 20) line({l.point, end}, l.ink, 1);
    text({box.x0 + plateMargin, box.y0 + labelSize_ + plateMargin / 2}, l.line, l.ink, labelSize_);
  }
  labels_.clear();
}

platform::PNGImage Drawing::finish() {
  placeLabels();
  use({1, 1, 1});
  cairo_rectangle(context_.get(), 0, height_, width_, captionHeight);
  cairo_fill(context_.get());
  const double fitting = std::min(1.0, (width_ - 50) / std::max(1.0, textWidth(caption_, captionSize)));
  text({10, height_ + captionHeight - 11}, caption_, {0.15, 0.15, 0.15}, captionSize * fitting);
  cairo_surface_flush(surface_.get());

  platform::PNGImage picture{static_cast<std::size_t>(cairo_image_surface_get_width(surface_.get())),
                             static_cast<std::size_t>(cairo_image_surface_get_height(surface_.get())),
                             3,
                             {}};
  auto& samples = picture.samples.emplace<0>();
  samples.reserve(picture.width * picture.height * 3);
  for (std::size_t y = 0; y < picture.height; ++y) {
    const std::uint32_t* row = rowOf(surface_.get(), y);
    for (std::size_t x = 0; x < picture.width; ++x) {
      for (const unsigned shift : {16U, 8U, 0U})
        samples.push_back(static_cast<std::uint8_t>(row[x] >> shift & 0xFFU));
    }
  }
  return picture;
}

}  // namespace geoloom::tools
