#include "geoloom/recording/FeatureCorners.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

#include "geoloom/platform/imaging/CVPixelBuffer.h"

namespace geoloom {

std::vector<Corner> findCorners(const platform::CVPixelBuffer& image) {
  constexpr int cellsAcross = 80;
  constexpr int window = 3;
  // The smaller eigenvalue of the summed gradient products: an edge of contrast 10 of 255 that bends lies
  // well above it, the noise of a camera well below.
  constexpr float leastStrength = 2e-5F;

  const int width = static_cast<int>(image.width());
  const int height = static_cast<int>(image.height());
  const cv::Mat colours(height, width, CV_8UC4, image.baseAddress(), image.bytesPerRow());
  cv::Mat gray;
  cv::cvtColor(colours, gray, cv::COLOR_BGRA2GRAY);
  cv::Mat strength;
  cv::cornerMinEigenVal(gray, strength, window);

  const int cell = std::max(1, static_cast<int>(std::lround(static_cast<double>(width) / cellsAcross)));
  std::vector<Corner> corners;
  for (int top = 0; top < height; top += cell) {
    for (int left = 0; left < width; left += cell) {
      float best = leastStrength;
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
