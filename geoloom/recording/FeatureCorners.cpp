#include "geoloom/recording/FeatureCorners.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom {

namespace {

using Plane = std::vector<int>;

/// The neighbours of row or column i of n; those outside are mirrored at the first and the last.
struct Neighbours {
  std::size_t before;
  std::size_t after;
  Neighbours(std::size_t i, std::size_t n)
      : before(i > 0 ? i - 1 : std::min<std::size_t>(1, n - 1)),
        after(i + 1 < n ? i + 1 : n - std::min<std::size_t>(2, n)) {}
};

Plane grayOf(const platform::CVPixelBuffer& image) {
  Plane gray;
  gray.reserve(image.width() * image.height());
  for (std::size_t y = 0; y < image.height(); ++y) {
    const std::uint8_t* pixel = image.baseAddress() + y * image.bytesPerRow();
    for (std::size_t x = 0; x < image.width(); ++x, pixel += 4)
      gray.push_back((3735 * pixel[0] + 19235 * pixel[1] + 9798 * pixel[2] + (1 << 14)) >> 15);
  }
  return gray;
}

/// Products xx, xy and yy of the gradients of a Sobel filter.
std::array<Plane, 3> gradientProducts(const Plane& gray, std::size_t width, std::size_t height) {
  std::array<Plane, 3> products{Plane(gray.size()), Plane(gray.size()), Plane(gray.size())};
  for (std::size_t y = 0; y < height; ++y) {
    const Neighbours rows(y, height);
    const int* const above = &gray[rows.before * width];
    const int* const here = &gray[y * width];
    const int* const below = &gray[rows.after * width];
    for (std::size_t x = 0; x < width; ++x) {
      const auto [l, r] = Neighbours(x, width);
      const int dx = above[r] - above[l] + 2 * (here[r] - here[l]) + below[r] - below[l];
      const int dy = below[l] - above[l] + 2 * (below[x] - above[x]) + below[r] - above[r];
      products[0][y * width + x] = dx * dx;
      products[1][y * width + x] = dx * dy;
      products[2][y * width + x] = dy * dy;
    }
  }
  return products;
}

/// The smaller eigenvalue of the gradient products' sums over 3 x 3 pixels, for gray values from 0 to 1.
std::vector<float> cornerStrengths(const std::array<Plane, 3>& products, std::size_t width,
                                   std::size_t height) {
  constexpr float SCALE = 1.0F / (12 * 255) / (12 * 255);
  std::vector<float> strengths(width * height);
  std::array<Plane, 3> sums{Plane(width), Plane(width), Plane(width)};
  for (std::size_t y = 0; y < height; ++y) {
    const Neighbours rows(y, height);
    for (std::size_t k = 0; k < 3; ++k)
      for (std::size_t x = 0; x < width; ++x)
        sums[k][x] = products[k][rows.before * width + x] + products[k][y * width + x] +
                     products[k][rows.after * width + x];
    for (std::size_t x = 0; x < width; ++x) {
      const auto [l, r] = Neighbours(x, width);
      const auto sum = [&, l = l, r = r](std::size_t k) {
        return static_cast<float>(sums[k][l] + sums[k][x] + sums[k][r]);
      };
      const float xx = sum(0) / 2;
      const float yy = sum(2) / 2;
      const float xy = sum(1);
      strengths[y * width + x] = SCALE * (xx + yy - std::sqrt((xx - yy) * (xx - yy) + xy * xy));
    }
  }
  return strengths;
}

}  // namespace

std::vector<Corner> findCorners(const platform::CVPixelBuffer& image) {
  constexpr int CELLS_ACROSS = 80;
  // Corners with a contrast of 10 (of 255) are well above this value, camera noise is well below.
  constexpr float LEAST_STRENGTH = 2e-5F;

  const int width = static_cast<int>(image.width());
  const int height = static_cast<int>(image.height());
  const auto strengths = cornerStrengths(gradientProducts(grayOf(image), image.width(), image.height()),
                                         image.width(), image.height());
  const int cell = std::max(1, static_cast<int>(std::lround(static_cast<double>(width) / CELLS_ACROSS)));
  std::vector<Corner> corners;
  for (int top = 0; top < height; top += cell) {
    for (int left = 0; left < width; left += cell) {
      float best = LEAST_STRENGTH;
      Corner corner{-1, -1};
      for (int y = top; y < std::min(top + cell, height); ++y) {
        const float* row = &strengths[static_cast<std::size_t>(y) * image.width()];
        for (int x = left; x < std::min(left + cell, width); ++x) {
          if (row[x] > best) {
            best = row[x];
            corner = {x, y};
          }
        }
      }
      if (corner.x >= 0) corners.push_back(corner);
    }
  }
  return corners;
}

}  // namespace geoloom
