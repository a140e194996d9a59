#include "geoloom/recording/FeatureCorners.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom {

std::vector<Corner> findCorners(const platform::CVPixelBuffer& image) {
  constexpr int CELLS_ACROSS = 80;
  constexpr int WINDOW = 3;
  // The smaller eigenvalue of the summed gradient products. Corners with a contrast of 10 (of 255) are
  // well above this value, camera noise is well below.
  constexpr float LEAST_STRENGTH = 2e-5F;

  const int width = static_cast<int>(image.width());
  const int height = static_cast<int>(image.height());
  const cv::Mat colours(height, width, CV_8UC4, image.baseAddress(), image.bytesPerRow());
  cv::Mat gray;
  cv::cvtColor(colours, gray, cv::COLOR_BGRA2GRAY);
  cv::Mat strength;
  cv::cornerMinEigenVal(gray, strength, WINDOW);

  const int cell = std::max(1, static_cast<int>(std::lround(static_cast<double>(width) / CELLS_ACROSS)));
  std::vector<Corner> corners;
  for (int top = 0; top < height; top += cell) {
    for (int left = 0; left < width; left += cell) {
      float best = LEAST_STRENGTH;
      Corner corner{-1, -1};
      for (int y = top; y < std::min(top + cell, height); ++y) {
        const float* row = strength.ptr<float>(y);
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
